#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "client/HelperConnection.h"

namespace kelo {

/// The helper's own refusal. `what()` is its text.
class HelperRefused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Where a command runs.
struct Terminal {
    std::ostream& out;
    bool isInteractive; ///< Output goes to a terminal: a line may be updated in place.
    /// Waits for that many seconds. Returns false as soon as the user has asked to stop.
    std::function<bool(double seconds)> pause;
};

/// "0.5" or "50%" as a fraction; none for anything else, and outside of 0...1.
std::optional<double> parseFraction(std::string_view text);

/// The commands of `kelo`. Each throws `HelperRefused` or `HelperUnreachable` when it fails.
namespace commands {

/// Prints the state of the fans: as the helper's JSON, or for people.
void status(HelperConnection& helper, Terminal& terminal, bool asJSON);

/// Holds until the user asks to stop, and hands back then.
void hold(HelperConnection& helper, Terminal& terminal, double fraction, bool handsBackOnLidClose);

void handBack(HelperConnection& helper, Terminal& terminal);
void version(HelperConnection& helper, Terminal& terminal);
void standDown(HelperConnection& helper, Terminal& terminal);

/// Prints the state of the fans each second until the user asks to stop.
void watch(HelperConnection& helper, Terminal& terminal);

} // namespace commands
} // namespace kelo
