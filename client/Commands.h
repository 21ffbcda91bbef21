#pragma once

#include <optional>
#include <string>

#include "client/Arguments.h"
#include "client/Surroundings.h"
#include "client/Terminal.h"

namespace kelo {

/// The commands of `kelo`. Each command throws `HelperRefused`, `HelperUnreachable` or `OutputFailed` when it fails.
namespace commands {

enum class StatusForm {
    gauges, ///< Several lines, for people.
    line,   ///< One short line, for a status bar.
    json    ///< The helper's JSON, unchanged.
};

void status(HelperConnection& helper, Terminal& terminal, StatusForm form);

/// Ends any hold, then reads the fans. Throws `HelperRefused` unless the reading shows that every fan is automatic.
void returnFans(HelperConnection& helper);
/// Ends any hold like `returnFans`, then prints that the fans are automatic.
void handBack(HelperConnection& helper, Terminal& terminal);
/// Prints the interface version. Throws `OtherVersion` if the helper's version differs.
void version(HelperConnection& helper, Terminal& terminal);
void standDown(HelperConnection& helper, Terminal& terminal);

enum class WatchForm {
    live,  ///< A view that is drawn in place on a terminal; otherwise the same as `lines`.
    lines, ///< One line for each reading.
    json   ///< One line for each reading: the helper's JSON with the time added.
};

/// Reads and shows the fans every `interval` seconds until the user asks to stop. Fails if the first reading fails.
/// Reports later failures and continues.
void watch(const Surroundings& surroundings, Terminal& terminal, WatchForm form, double interval);

struct HoldRequest {
    Speed speed; ///< RPM applies to the fastest fan; the other fans are held at the same fraction of their ranges.
    bool handsBackOnLidClose = false;
    std::optional<double> seconds; ///< The duration; nullopt holds until the user asks to stop.
    CommandWords command;          ///< If not empty, the hold lasts as long as this command runs.
};

/// Holds the fans, and hands them back when the time is over, the user asks to stop, or the command ends. Until then,
/// shows the fans if it runs on a terminal, and otherwise prints events. If the helper exits, waits for a new helper
/// and requests the hold again, unless another client had already replaced or ended the hold.
///
/// Returns the exit status of the command, if there is one. Fails if the hold cannot start, or if the fans are not
/// known to be automatic after the hold has ended.
int hold(const Surroundings& surroundings, Terminal& terminal, const HoldRequest& request);

/// Examines the installation, queries the helper, tries a hold if no client holds the fans, and prints each finding
/// immediately. Returns 0 if it has found no fault, otherwise 1. If `version` is not empty, the output is a report to
/// attach to an issue: it begins with this program's version and does not contain the user's name.
int doctor(const Surroundings& surroundings, Terminal& terminal, const std::string& version);

} // namespace commands
} // namespace kelo
