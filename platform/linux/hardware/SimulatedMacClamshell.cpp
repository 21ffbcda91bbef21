#include "platform/linux/hardware/SimulatedMacClamshell.h"

namespace kelo {

ClamshellProperty SimulatedMacClamshell::clamshellState() {
    const auto answer = link_.call(hardware_calls::ReadClamshell{});
    return answer ? answer->state : ClamshellProperty();
}

} // namespace kelo
