#pragma once

#include <memory>

#include "core/hold/Clamshell.h"

namespace kelo {

class HardwareLink;

/// The lid of the simulated Mac. Without a simulated Mac the property is absent.
class SimulatedMacClamshell : public Clamshell {
public:
    /// `folder` is borrowed, an open descriptor.
    explicit SimulatedMacClamshell(int folder);
    ~SimulatedMacClamshell() override;

    ClamshellProperty clamshellState() override;

private:
    int folder_;
    std::unique_ptr<HardwareLink> link_;
};

} // namespace kelo
