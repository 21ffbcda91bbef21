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
    const auto answer = link_->call({{"call", "clamshell"}});
    if (!answer || !answer->contains("clamshell")) {
        link_.reset(); // perhaps another simulated Mac runs the next time
        return {};
    }
    const auto& state = answer->at("clamshell");
    if (state.is_null())
        return {};
    if (state.is_boolean())
        return state.get<bool>();
    if (state.is_number())
        return state.get<double>();
    return UnconvertibleProperty{};
}

} // namespace kelo
