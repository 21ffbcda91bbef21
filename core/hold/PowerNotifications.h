#pragma once

#include <cstdint>
#include <memory>

namespace kelo {

/// Called on the main thread with each message of the root power domain. `refcon` is what was registered;
/// `messageArgument` identifies the message to `allowPowerChange`.
using PowerCallback = void (*)(void* refcon, std::uint32_t service, std::uint32_t messageType, void* messageArgument);

/// A registration for power messages. Destroying it ends it: no message is delivered afterwards. Main thread only.
class PowerRegistration {
public:
    PowerRegistration() = default;
    PowerRegistration(const PowerRegistration&) = delete;
    PowerRegistration& operator=(const PowerRegistration&) = delete;
    virtual ~PowerRegistration() = default;

    /// Lets the system go on to sleep. `notificationID` is the message's own argument.
    virtual void allowPowerChange(std::intptr_t notificationID) = 0;
};

/// The system's announcements of sleep and wake.
class PowerNotifications {
public:
    PowerNotifications() = default;
    PowerNotifications(const PowerNotifications&) = delete;
    PowerNotifications& operator=(const PowerNotifications&) = delete;
    virtual ~PowerNotifications() = default;

    /// Registers `callback`, to be called with `refcon`, which is not kept alive. Returns nullptr when the system has
    /// no root power domain to register with. Main thread only.
    [[nodiscard]] virtual std::unique_ptr<PowerRegistration> registerForSystemPower(void* refcon,
                                                                                    PowerCallback callback) = 0;
};

} // namespace kelo
