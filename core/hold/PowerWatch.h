#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "core/hold/PowerNotifications.h"

namespace kelo {

/// Runs one callback before the system sleeps and one after it has powered on, and answers the system so that sleep is
/// never held up longer than the first takes.
///
/// Destroying it ends its registration; its callbacks must not. Main thread only.
class PowerWatch {
public:
    /// Registers nothing yet. `notifications` is borrowed.
    PowerWatch(PowerNotifications& notifications, std::function<void()> willSleep, std::function<void()> didWake);
    PowerWatch(const PowerWatch&) = delete;
    PowerWatch& operator=(const PowerWatch&) = delete;
    ~PowerWatch();

    /// Registers, unless it is registered. When the system has nothing to register with, the watch stays silent until
    /// another `start()` succeeds. Throws what the system throws when it is out of a resource.
    void start();

    /// Ends the registration; does nothing without one. Not from the callbacks.
    void stop();

private:
    void receive(PowerMessage message, std::intptr_t notificationID);

    PowerNotifications& notifications_;
    const std::function<void()> willSleep_;
    const std::function<void()> didWake_;
    std::unique_ptr<PowerRegistration> registration_;
};

} // namespace kelo
