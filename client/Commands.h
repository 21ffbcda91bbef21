#pragma once

#include <optional>
#include <string>

#include "client/Arguments.h"
#include "client/Surroundings.h"
#include "client/Terminal.h"

namespace kelo {

/// The commands of `kelo`. Each throws `HelperRefused`, `HelperUnreachable` or `OutputFailed` when it fails.
namespace commands {

enum class StatusForm {
    gauges, ///< For people.
    line,   ///< One short line, for a status bar.
    json    ///< The helper's own.
};

/// Prints the state of the fans.
void status(HelperConnection& helper, Terminal& terminal, StatusForm form);

/// Ends any hold. Throws `HelperRefused` unless a reading shows that every fan is automatic then.
void returnFans(HelperConnection& helper);
/// The same, and says so.
void handBack(HelperConnection& helper, Terminal& terminal);
/// Throws `OtherVersion` if that is so.
void version(HelperConnection& helper, Terminal& terminal);
void standDown(HelperConnection& helper, Terminal& terminal);

enum class WatchForm {
    live,  ///< Drawn in place on a terminal; elsewhere as `lines`.
    lines, ///< A line per reading.
    json   ///< The helper's JSON with a time in a line per reading; nothing while there is none.
};

/// Shows the fans every `interval` seconds until the user asks to stop. Fails when there is nothing to show at first;
/// later it says so and waits.
void watch(const Surroundings& surroundings, Terminal& terminal, WatchForm form, double interval);

struct HoldRequest {
    Speed speed; ///< RPM of the fastest fan mean the same fraction of its range for every fan.
    bool handsBackOnLidClose = false;
    std::optional<double> seconds; ///< How long; without it, until the user asks to stop.
    CommandWords command;          ///< Unless it is empty, the hold lasts as long as this command runs.
};

/// Holds the fans, and hands them back when the time is over, the user asks to stop, or the command ends. Until then it
/// shows the fans on a terminal, and elsewhere prints what happens. When the helper goes, it waits for the next one and
/// asks again, unless another client has replaced or ended the hold before.
///
/// Returns the exit status: that of the command, if there is one. Fails when the hold cannot start, or when the fans
/// are not known to be automatic after its end.
int hold(const Surroundings& surroundings, Terminal& terminal, const HoldRequest& request);

/// Looks at the installation, asks the helper, tries a hold if nobody holds the fans, and prints each finding at once.
/// Returns 0 when there is no fault, otherwise 1. Unless `version` is empty, prints a report for others instead, which
/// begins with this program's version and names no user.
int doctor(const Surroundings& surroundings, Terminal& terminal, const std::string& version);

} // namespace commands
} // namespace kelo
