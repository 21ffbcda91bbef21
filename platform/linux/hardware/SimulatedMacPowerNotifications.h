#pragma once

#include "core/hold/PowerNotifications.h"

namespace kelo {

class EventLoop;

/// The root power domain of the simulated Mac. Each registration is a connection of its own.
class SimulatedMacPowerNotifications : public PowerNotifications {
public:
    /// `folder` is an open descriptor; both are borrowed.
    SimulatedMacPowerNotifications(int folder, EventLoop& loop) : folder_(folder), loop_(loop) {}

    [[nodiscard]] std::unique_ptr<PowerRegistration> registerForSystemPower(PowerHandler onMessage) override;

private:
    int folder_;
    EventLoop& loop_;
};

} // namespace kelo
