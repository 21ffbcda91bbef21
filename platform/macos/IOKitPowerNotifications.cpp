#include "platform/macos/IOKitPowerNotifications.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/IOMessage.h>
#include <IOKit/pwr_mgt/IOPMLib.h>

#include <cstdlib>
#include <type_traits>

#include "core/hold/PowerWatch.h"
#include "platform/macos/Containment.h"

namespace kelo {

namespace {

static_assert(std::is_same_v<PowerCallback, IOServiceInterestCallback>, "registered as it is, without an adapter");
static_assert(static_cast<std::uint32_t>(PowerMessage::canSystemSleep) == kIOMessageCanSystemSleep);
static_assert(static_cast<std::uint32_t>(PowerMessage::systemWillSleep) == kIOMessageSystemWillSleep);
static_assert(static_cast<std::uint32_t>(PowerMessage::systemHasPoweredOn) == kIOMessageSystemHasPoweredOn);

CFRunLoopSourceRef runLoopSource(IONotificationPortRef port) {
    const CFRunLoopSourceRef source = IONotificationPortGetRunLoopSource(port);
    if (source == nullptr) {
        reportFault("registering for system power", "the notification port has no run-loop source");
        std::abort();
    }
    return source;
}

class IOKitPowerRegistration : public PowerRegistration {
public:
    IOKitPowerRegistration(void* refcon, PowerCallback callback)
        : rootPort_(IORegisterForSystemPower(refcon, &port_, callback, &notifier_)) {
        if (isRegistered())
            CFRunLoopAddSource(CFRunLoopGetCurrent(), runLoopSource(port_), kCFRunLoopDefaultMode);
    }

    /// In this order: no message is delivered once the source is gone, none is sent once the notifier is, and only then
    /// can the connection and the port go.
    ~IOKitPowerRegistration() override {
        if (!isRegistered())
            return;
        CFRunLoopRemoveSource(CFRunLoopGetCurrent(), runLoopSource(port_), kCFRunLoopDefaultMode);
        IODeregisterForSystemPower(&notifier_); // always succeeds
        IOServiceClose(rootPort_);              // a failure leaves nothing to do
        IONotificationPortDestroy(port_);
    }

    bool isRegistered() const { return rootPort_ != MACH_PORT_NULL && port_ != nullptr; }

    void allowPowerChange(std::intptr_t notificationID) override {
        IOAllowPowerChange(rootPort_, notificationID); // not answered, the system waits 30 seconds and goes on
    }

private:
    // Before the connection: registering fills both.
    IONotificationPortRef port_ = nullptr;
    io_object_t notifier_ = IO_OBJECT_NULL;
    const io_connect_t rootPort_;
};

} // namespace

std::unique_ptr<PowerRegistration> IOKitPowerNotifications::registerForSystemPower(void* refcon,
                                                                                   PowerCallback callback) {
    auto registration = std::make_unique<IOKitPowerRegistration>(refcon, callback);
    if (!registration->isRegistered())
        return nullptr;
    return registration;
}

} // namespace kelo
