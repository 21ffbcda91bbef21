#pragma once

#include <functional>
#include <memory>

#include "client/HelperConnection.h"
#include "client/Terminal.h"

namespace kelo {

/// Connects to the helper afresh, or throws `HelperUnreachable`.
using Connect = std::function<std::unique_ptr<HelperConnection>()>;

namespace commands {

enum class WatchForm {
    live,  ///< Drawn in place on a terminal; elsewhere as `lines`.
    lines, ///< A line each second.
    json   ///< The helper's JSON in a line each second; nothing while there is none.
};

/// Shows the fans each second until the user asks to stop. Throws `HelperRefused` or `HelperUnreachable` when there is
/// nothing to show at first; later it says so and waits.
void watch(const Connect& connect, Terminal& terminal, WatchForm form);

} // namespace commands
} // namespace kelo
