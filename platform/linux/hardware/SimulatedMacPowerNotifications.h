#pragma once

#include "core/hold/PowerNotifications.h"
#include "platform/linux/hardware/MacTimeouts.h"

namespace kelo {

class EventLoop;

/// The root power domain of the simulated Mac. Each registration has a separate connection, and reconnects after the
/// Mac disconnects.
class SimulatedMacPowerNotifications : public PowerNotifications {
public:
    /// Borrows `folder`, an open descriptor, and `loop`.
    SimulatedMacPowerNotifications(int folder, EventLoop& loop, const MacTimeouts& timeouts = {})
        : folder_(folder), loop_(loop), timeouts_(timeouts) {}

    [[nodiscard]] std::unique_ptr<PowerRegistration> registerForSystemPower(PowerHandler onMessage) override;

private:
    int folder_;
    EventLoop& loop_;
    const MacTimeouts timeouts_;
};

} // namespace kelo
