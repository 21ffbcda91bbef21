#pragma once

// Source of unmarked declarations: V (IOKitUser, IOKitLib.h and IOKitLib.c). The vendor's headers have no nullability
// annotations.

#include <CoreFoundation/CoreFoundation.h>
#include <mach/mach.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Source: V (xnu, iokit/IOKit/IOTypes.h). These types are all the same.
typedef mach_port_t io_object_t;
typedef io_object_t io_connect_t;
typedef io_object_t io_service_t;
typedef io_object_t io_registry_entry_t;
typedef UInt32 IOOptionBits;
typedef kern_return_t IOReturn;
#define IO_OBJECT_NULL ((io_object_t)0)

// Source: V (xnu, iokit/IOKit/IOReturn.h).
#define kIOReturnSuccess KERN_SUCCESS
#define kIOReturnError ((IOReturn)0xE00002BC)
#define kIOReturnNotPrivileged ((IOReturn)0xE00002C1)
#define kIOReturnBadArgument ((IOReturn)0xE00002C2)
#define kIOReturnNotOpen ((IOReturn)0xE00002CD)

extern const mach_port_t kIOMainPortDefault; // macOS 12; MACH_PORT_NULL

CFMutableDictionaryRef IOServiceMatching(const char* name); // create, NULL on failure
// Always consumes the dictionary, which may be NULL. Returns a service that the caller must release, or 0 if none
// matches.
io_service_t IOServiceGetMatchingService(mach_port_t mainPort, CFDictionaryRef matching);
kern_return_t IOServiceOpen(io_service_t service, task_port_t owningTask, uint32_t type,
                            io_connect_t* connect); // create
kern_return_t IOServiceClose(io_connect_t connect); // closes and releases the port: do not release it as well
kern_return_t IOObjectRelease(io_object_t object);
// *outputStructCnt is the capacity on input and the size on output. It changes even if the call fails.
kern_return_t IOConnectCallStructMethod(mach_port_t connection, uint32_t selector, const void* inputStruct,
                                        size_t inputStructCnt, void* outputStruct, size_t* outputStructCnt);
// Returns an object that the caller must release, or NULL if the property is absent. `options` must be 0.
CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key, CFAllocatorRef allocator,
                                          IOOptionBits options);

typedef struct IONotificationPort* IONotificationPortRef;
typedef void (*IOServiceInterestCallback)(void* refcon, io_service_t service, uint32_t messageType,
                                          void* messageArgument);
CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef notify); // get; can be NULL
void IONotificationPortDestroy(IONotificationPortRef notify); // invalidates and releases the source

#ifdef __cplusplus
}
#endif
