#include "core/hold/Lid.h"

#include "core/hold/Clamshell.h"

namespace kelo {

bool Lid::isClosed(Clamshell& clamshell) {
    const auto state = clamshell.clamshellState();
    if (const auto* isClosed = std::get_if<bool>(&state))
        return *isClosed;
    if (const auto* number = std::get_if<double>(&state))
        return *number == 1;
    return false;
}

} // namespace kelo
