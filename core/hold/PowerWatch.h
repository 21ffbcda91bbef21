#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "core/hold/PowerNotifications.h"

namespace kelo {

/// Runs one callback before the system sleeps and one after it has powered on, and answers the system so that sleep is
/// never held up longer than the first takes.
///
/// To be made with `std::make_shared`. Main thread only. The owner calls `stop()` before it lets a started watch go.
class PowerWatch : public std::enable_shared_from_this<PowerWatch> {
public:
    /// Registers nothing yet. `notifications` is borrowed.
    PowerWatch(PowerNotifications& notifications, std::function<void()> willSleep, std::function<void()> didWake);

    /// Registers. A failure is silent: the watch then never calls back. To be called once.
    void start();

    /// Ends the registration; does nothing without one. May be called from the callbacks.
    void stop();

private:
    void receive(PowerMessage message, std::intptr_t notificationID);
    void allowPowerChange(std::intptr_t notificationID) noexcept;

    PowerNotifications& notifications_;
    std::unique_ptr<PowerRegistration> registration_;
    std::function<void()> willSleep_;
    std::function<void()> didWake_;
};

} // namespace kelo
