#include "platform/macos/IOKitPowerNotifications.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/IOMessage.h>
#include <IOKit/pwr_mgt/IOPMLib.h>

#include <optional>
#include <utility>

#include "platform/posix/Containment.h"

namespace kelo {

namespace {

static_assert(kIOMessageCanSystemSleep == 0xE0000270);
static_assert(kIOMessageSystemWillSleep == 0xE0000280);
static_assert(kIOMessageSystemHasPoweredOn == 0xE0000300);

std::optional<PowerMessage> powerMessage(std::uint32_t messageType) {
    switch (messageType) {
    case kIOMessageCanSystemSleep:
        return PowerMessage::canSystemSleep;
    case kIOMessageSystemWillSleep:
        return PowerMessage::systemWillSleep;
    case kIOMessageSystemHasPoweredOn:
        return PowerMessage::systemHasPoweredOn;
    default:
        return std::nullopt;
    }
}

void powerCallback(void* refcon, io_service_t service, std::uint32_t messageType, void* messageArgument);

class IOKitPowerRegistration : public PowerRegistration {
public:
    explicit IOKitPowerRegistration(PowerHandler onMessage)
        : onMessage_(std::make_shared<const PowerHandler>(std::move(onMessage))),
          rootPort_(IORegisterForSystemPower(this, &port_, powerCallback, &notifier_)) {
        if (!isOpen())
            return;
        source_ = IONotificationPortGetRunLoopSource(port_);
        if (source_ != nullptr)
            CFRunLoopAddSource(CFRunLoopGetCurrent(), source_, kCFRunLoopDefaultMode);
        else
            reportFault("registering for system power", "the notification port has no run-loop source");
    }

    /// The order matters. Removing the source stops the delivery of messages, and removing the notifier stops the
    /// system from sending them. Only then may the connection and the port be released.
    ~IOKitPowerRegistration() override {
        if (!isOpen())
            return;
        if (source_ != nullptr)
            CFRunLoopRemoveSource(CFRunLoopGetCurrent(), source_, kCFRunLoopDefaultMode);
        IODeregisterForSystemPower(&notifier_); // always succeeds
        IOServiceClose(rootPort_);              // a failure has no effect
        IONotificationPortDestroy(port_);
    }

    bool isRegistered() const { return source_ != nullptr; }

    void allowPowerChange(std::intptr_t notificationID) noexcept override {
        IOAllowPowerChange(rootPort_, notificationID); // on failure the system sleeps after 30 seconds
    }

    /// The handler may destroy this registration, so this function uses no member after the call.
    void deliver(PowerMessage message, std::intptr_t notificationID) const {
        contain("a power message",
                [handler = onMessage_, message, notificationID] { (*handler)(message, notificationID); });
    }

private:
    bool isOpen() const { return rootPort_ != MACH_PORT_NULL && port_ != nullptr; }

    const std::shared_ptr<const PowerHandler> onMessage_; ///< Shared, so that a copy does not allocate.
    // Declared before the connection, since the initialisation of the connection sets these two members.
    IONotificationPortRef port_ = nullptr;
    io_object_t notifier_ = IO_OBJECT_NULL;
    const io_connect_t rootPort_;
    CFRunLoopSourceRef source_ = nullptr; ///< Owned by the port.
};

/// Called by IOKit. The argument itself is the identifier of the notification, not a pointer to it.
void powerCallback(void* refcon, io_service_t, std::uint32_t messageType, void* messageArgument) {
    if (refcon == nullptr)
        return;
    if (const auto message = powerMessage(messageType))
        static_cast<IOKitPowerRegistration*>(refcon)->deliver(*message,
                                                              reinterpret_cast<std::intptr_t>(messageArgument));
}

} // namespace

std::unique_ptr<PowerRegistration> IOKitPowerNotifications::registerForSystemPower(PowerHandler onMessage) {
    auto registration = std::make_unique<IOKitPowerRegistration>(std::move(onMessage));
    if (!registration->isRegistered())
        return nullptr;
    return registration;
}

} // namespace kelo
