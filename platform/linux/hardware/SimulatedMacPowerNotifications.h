#pragma once

#include "core/hold/PowerNotifications.h"
#include "platform/linux/hardware/MacPatience.h"

namespace kelo {

class EventLoop;

/// The root power domain of the simulated Mac. Each registration is a connection of its own, which is made anew when
/// the Mac hung up, and later when it cannot be had at once.
class SimulatedMacPowerNotifications : public PowerNotifications {
public:
    /// `folder` is an open descriptor; both are borrowed.
    SimulatedMacPowerNotifications(int folder, EventLoop& loop, const MacPatience& patience = {})
        : folder_(folder), loop_(loop), patience_(patience) {}

    [[nodiscard]] std::unique_ptr<PowerRegistration> registerForSystemPower(PowerHandler onMessage) override;

private:
    int folder_;
    EventLoop& loop_;
    const MacPatience patience_;
};

} // namespace kelo
