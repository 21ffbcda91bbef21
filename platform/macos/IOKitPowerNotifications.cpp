#include "platform/macos/IOKitPowerNotifications.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/IOMessage.h>
#include <IOKit/pwr_mgt/IOPMLib.h>

#include <cstdlib>

#include "core/hold/PowerWatch.h"
#include "platform/posix/Containment.h"

namespace kelo {

namespace {

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
        : refcon_(refcon), callback_(callback), rootPort_(IORegisterForSystemPower(this, &port_, deliver, &notifier_)) {
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
    /// The callback may end the registration: nothing of it is used afterwards.
    static void deliver(void* self, io_service_t service, std::uint32_t messageType, void* messageArgument) {
        const auto* const registration = static_cast<IOKitPowerRegistration*>(self);
        contain("a power message",
                [refcon = registration->refcon_, callback = registration->callback_, service, messageType,
                 messageArgument] { callback(refcon, service, messageType, messageArgument); });
    }

    void* const refcon_;
    const PowerCallback callback_;
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
