#pragma once

// Source: V (IOKitUser, pwr_mgt.subproj/IOPMLib.h and IOPMLib.c).

#include <IOKit/IOKitLib.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Returns a port that the caller must release. On failure, returns MACH_PORT_NULL, sets *notifier to 0 and leaves
// *thePortRef unchanged.
io_connect_t IORegisterForSystemPower(void* refcon, IONotificationPortRef* thePortRef,
                                      IOServiceInterestCallback callback, io_object_t* notifier);
IOReturn IODeregisterForSystemPower(io_object_t* notifier); // releases *notifier and sets it to 0
IOReturn IOAllowPowerChange(io_connect_t kernelPort, intptr_t notificationID);

#ifdef __cplusplus
}
#endif
