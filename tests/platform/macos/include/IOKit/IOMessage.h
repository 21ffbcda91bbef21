#pragma once

// Sources: V (xnu, osfmk/mach/error.h, iokit/IOKit/IOReturn.h, IOMessage.h), and C for the unsigned constants.

#include <CoreFoundation/CoreFoundation.h>

#define err_system(x) ((signed)((((unsigned)(x)) & 0x3f) << 26))
#define err_sub(x) (((x)&0xfff) << 14)
#define sys_iokit err_system(0x38)
#define sub_iokit_common err_sub(0)
#define iokit_common_msg(message) ((UInt32)(sys_iokit | sub_iokit_common | message))

#define kIOMessageCanSystemSleep iokit_common_msg(0x270)     // must be acknowledged
#define kIOMessageSystemWillSleep iokit_common_msg(0x280)    // must be acknowledged
#define kIOMessageSystemWillNotSleep iokit_common_msg(0x290) // must not be acknowledged
#define kIOMessageSystemHasPoweredOn iokit_common_msg(0x300) // must not be acknowledged
#define kIOMessageSystemWillPowerOn iokit_common_msg(0x320)  // must not be acknowledged
