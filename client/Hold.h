#pragma once

#include <optional>
#include <string>

#include "client/HelperConnection.h"
#include "client/Terminal.h"

namespace kelo::commands {

struct HoldRequest {
    double fraction = 0;
    bool handsBackOnLidClose = false;
    std::optional<double> seconds; ///< How long; without it, until the user asks to stop.
};

/// Holds, and hands back when the time is over or the user asks to stop. Meanwhile it shows the fans on a terminal, and
/// says elsewhere what happens to the hold. Throws `HelperRefused` and `HelperUnreachable`: also when the helper goes
/// while it holds, since the hold has ended then.
void hold(HelperConnection& helper, Terminal& terminal, const HoldRequest& request);

} // namespace kelo::commands
