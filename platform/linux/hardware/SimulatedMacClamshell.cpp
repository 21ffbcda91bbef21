#include "platform/linux/hardware/SimulatedMacClamshell.h"

#include "simulator/link/HardwareLink.h"

namespace kelo {

SimulatedMacClamshell::SimulatedMacClamshell(int folder) : folder_(folder) {}

SimulatedMacClamshell::~SimulatedMacClamshell() = default;

ClamshellProperty SimulatedMacClamshell::clamshellState() {
    if (!link_)
        link_ = HardwareLink::connect(folder_);
    if (!link_)
        return {};
    try {
        return link_->call(hardware_calls::ReadClamshell{}).state;
    } catch (const CallFailed&) {
        link_.reset(); // perhaps another simulated Mac runs the next time
        return {};
    }
}

} // namespace kelo
