#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "core/hold/PowerNotifications.h"

namespace kelo {

/// Runs one callback before the system sleeps and another after it has powered on. Acknowledges each sleep message, so
/// that nothing but the first callback can delay sleep.
///
/// Destroying the watch ends the registration; the callbacks must not destroy the watch. Main thread only.
class PowerWatch {
public:
    /// Does not register for messages; `start()` does. `notifications` is borrowed.
    PowerWatch(PowerNotifications& notifications, std::function<void()> willSleep, std::function<void()> didWake);
    PowerWatch(const PowerWatch&) = delete;
    PowerWatch& operator=(const PowerWatch&) = delete;
    ~PowerWatch();

    /// Registers for messages, unless already registered. If there is no root power domain, no callback runs until a
    /// later `start()` succeeds. Throws the system's exception if the system has run out of a resource.
    void start();

    /// Ends the registration, if any. Must not be called from the callbacks.
    void stop();

private:
    void receive(PowerMessage message, std::intptr_t notificationID);

    PowerNotifications& notifications_;
    const std::function<void()> willSleep_;
    const std::function<void()> didWake_;
    std::unique_ptr<PowerRegistration> registration_;
};

} // namespace kelo
