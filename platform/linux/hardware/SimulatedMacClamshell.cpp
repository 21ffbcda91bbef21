#include "platform/linux/hardware/SimulatedMacClamshell.h"

namespace kelo {

ClamshellProperty SimulatedMacClamshell::clamshellState() {
    return link_.call(LidLink::Look{}).value_or(ClamshellProperty());
}

} // namespace kelo
