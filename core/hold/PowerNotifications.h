#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace kelo {

/// The messages of the root power domain that matter here; a platform delivers no other.
enum class PowerMessage { canSystemSleep, systemWillSleep, systemHasPoweredOn };

/// Called on the main thread with each message. `notificationID` identifies it to `allowPowerChange`.
using PowerHandler = std::function<void(PowerMessage message, std::intptr_t notificationID)>;

/// A registration for power messages. Destroying it ends it: no message is delivered afterwards. Main thread only.
class PowerRegistration {
public:
    PowerRegistration() = default;
    PowerRegistration(const PowerRegistration&) = delete;
    PowerRegistration& operator=(const PowerRegistration&) = delete;
    virtual ~PowerRegistration() = default;

    /// Lets the system go on to sleep. `notificationID` is the message's own.
    virtual void allowPowerChange(std::intptr_t notificationID) noexcept = 0;
};

/// The system's announcements of sleep and wake.
class PowerNotifications {
public:
    PowerNotifications() = default;
    PowerNotifications(const PowerNotifications&) = delete;
    PowerNotifications& operator=(const PowerNotifications&) = delete;
    virtual ~PowerNotifications() = default;

    /// Has `onMessage` called, which may end the registration. Returns nullptr when the system has no root power domain
    /// to register with. Main thread only.
    [[nodiscard]] virtual std::unique_ptr<PowerRegistration> registerForSystemPower(PowerHandler onMessage) = 0;
};

} // namespace kelo
