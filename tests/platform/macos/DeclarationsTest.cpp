#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/IOMessage.h>
#include <IOKit/pwr_mgt/IOPM.h>
#include <Security/Security.h>
#include <dispatch/dispatch.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <libproc.h>
#include <os/log.h>

#include <string_view>
#include <type_traits>

// Checks constants and types of the platform's binary interface against an independent copy. On a Mac this checks the
// system's headers; elsewhere, the declarations used to compile the macOS sources.

namespace {

static_assert(std::is_same_v<kern_return_t, int> && std::is_same_v<IOReturn, int> && std::is_same_v<OSStatus, int>);
static_assert(std::is_same_v<mach_port_t, unsigned int> && std::is_same_v<io_connect_t, unsigned int> &&
              std::is_same_v<io_service_t, unsigned int> && std::is_same_v<IOOptionBits, unsigned int>);
static_assert(std::is_same_v<CFIndex, signed long> && std::is_same_v<CFTypeID, unsigned long> &&
              std::is_same_v<CFOptionFlags, unsigned long> && std::is_same_v<Boolean, unsigned char>);
static_assert(std::is_same_v<CFAbsoluteTime, double> && std::is_same_v<CFTypeRef, const void*>);
static_assert(std::is_same_v<IOServiceInterestCallback, void (*)(void*, unsigned int, std::uint32_t, void*)>);
static_assert(std::is_same_v<std::underlying_type_t<os_log_type_t>, std::uint8_t> &&
              std::is_same_v<std::underlying_type_t<CFNumberType>, CFIndex> &&
              std::is_same_v<dispatch_time_t, std::uint64_t>);

static_assert(kIOMessageCanSystemSleep == 0xE0000270U && kIOMessageSystemWillSleep == 0xE0000280U);
static_assert(kIOMessageSystemWillNotSleep == 0xE0000290U && kIOMessageSystemHasPoweredOn == 0xE0000300U);
static_assert(kIOMessageSystemWillPowerOn == 0xE0000320U);
static_assert(std::is_unsigned_v<decltype(kIOMessageSystemWillSleep)>);

static_assert(KERN_SUCCESS == 0 && MACH_PORT_NULL == 0 && IO_OBJECT_NULL == 0);
static_assert(kIOReturnNotPrivileged == -536870207 && kIOReturnBadArgument == -536870206);
static_assert(std::string_view(kAppleClamshellStateKey) == "AppleClamshellState");

static_assert(kCFStringEncodingUTF8 == 0x08000100 && kCFNumberDoubleType == 13);

static_assert(kSecCSDefaultFlags == 0 && kSecCSSigningInformation == 2);
static_assert(errSecSuccess == 0 && errSecCSReqInvalid == -67052 && errSecCSUnsigned == -67062);

static_assert(DISPATCH_VNODE_DELETE == 0x1 && DISPATCH_VNODE_WRITE == 0x2 && DISPATCH_VNODE_EXTEND == 0x4);
static_assert(DISPATCH_VNODE_ATTRIB == 0x8 && DISPATCH_VNODE_LINK == 0x10 && DISPATCH_VNODE_RENAME == 0x20);
static_assert(DISPATCH_VNODE_REVOKE == 0x40 && DISPATCH_VNODE_FUNLOCK == 0x100 && DISPATCH_TIME_NOW == 0);

static_assert(OS_LOG_TYPE_DEFAULT == 0x00 && OS_LOG_TYPE_ERROR == 0x10 && OS_LOG_TYPE_FAULT == 0x11);

static_assert(O_EVTONLY == 0x8000 && PROC_PIDPATHINFO_MAXSIZE == 4096);

TEST(Declarations, DefaultPortAndAllocatorAreNull) {
    EXPECT_EQ(kIOMainPortDefault, static_cast<mach_port_t>(MACH_PORT_NULL));
    EXPECT_EQ(kCFAllocatorDefault, nullptr);
}

} // namespace
