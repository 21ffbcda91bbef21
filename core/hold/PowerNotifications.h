#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace kelo {

/// The messages that the helper handles from the root power domain. Platforms deliver no other messages.
enum class PowerMessage { canSystemSleep, systemWillSleep, systemHasPoweredOn };

/// A handler that is called on the main thread with each message. Pass `notificationID` to `allowPowerChange`.
using PowerHandler = std::function<void(PowerMessage message, std::intptr_t notificationID)>;

/// A registration for power messages. Destroying it ends the delivery of messages. Main thread only.
class PowerRegistration {
public:
    PowerRegistration() = default;
    PowerRegistration(const PowerRegistration&) = delete;
    PowerRegistration& operator=(const PowerRegistration&) = delete;
    virtual ~PowerRegistration() = default;

    /// Allows the system to sleep. `notificationID` is the identifier that came with the message.
    virtual void allowPowerChange(std::intptr_t notificationID) noexcept = 0;
};

class PowerNotifications {
public:
    PowerNotifications() = default;
    PowerNotifications(const PowerNotifications&) = delete;
    PowerNotifications& operator=(const PowerNotifications&) = delete;
    virtual ~PowerNotifications() = default;

    /// Registers `onMessage`, which may destroy the registration. Returns nullptr if the system has no root power
    /// domain. Main thread only.
    [[nodiscard]] virtual std::unique_ptr<PowerRegistration> registerForSystemPower(PowerHandler onMessage) = 0;
};

} // namespace kelo
