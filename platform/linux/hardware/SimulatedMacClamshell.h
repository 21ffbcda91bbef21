#pragma once

#include "core/hold/Clamshell.h"
#include "platform/linux/hardware/LastingLink.h"
#include "simulator/link/LidLink.h"

namespace kelo {

/// The lid of the simulated Mac. Without a simulated Mac the property is absent.
class SimulatedMacClamshell : public Clamshell {
public:
    /// `folder` is borrowed, an open descriptor.
    explicit SimulatedMacClamshell(int folder, const MacTimeouts& timeouts = {}) : link_(folder, timeouts) {}

    ClamshellProperty clamshellState() override;

private:
    LastingLink<LidLink> link_;
};

} // namespace kelo
