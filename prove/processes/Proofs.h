#pragma once

#include <filesystem>
#include <string>

namespace kelo {

// Each proof prints figures and returns the number of broken promises. `staged` is an installation, and `work` is an
// empty folder.

/// Measures the time from SIGTERM until the last fan is automatic and until the helper has exited, `tries` times in
/// each situation. A try breaks a promise if a fan was left manual, the status was not 0, or the hand-back took too
/// long. If `only` is not empty, measures only the situation with that name.
int proveDelays(const std::filesystem::path& staged, const std::filesystem::path& work, int tries,
                const std::string& only);

/// Ends a busy helper at a random time, `tries` times: by a signal, by replacing or deleting its executable, or by
/// killing all its clients. Prints the counts, the seed of each try that broke a promise, and the effects of SIGKILL.
/// Unless `data` is empty, writes the delays to that file, as input for `pictures draw`. A promise is broken if a fan
/// was left manual, the status was not 0, or the hand-back took too long. It is also broken if none of many tries found
/// a held fan, because the run then proved nothing.
int proveKill(const std::filesystem::path& staged, const std::filesystem::path& work, int tries, unsigned seed,
              const std::string& data);

/// Kills the helper with SIGKILL during a hold, `tries` times, and starts it again. Prints the number of times that a
/// fan stayed manual; the helper cannot prevent this. Counts a broken promise if a fan is still manual after a later
/// exit, and also if no fan ever stayed manual, because the run then measured nothing.
/// exit. Also counts one if no fan ever stayed manual, because the run then measured nothing.
int proveSIGKILL(const std::filesystem::path& staged, const std::filesystem::path& work, int tries);

/// Lets 50 clients connect and disconnect for `minutes` of real time and samples the helper's resources. Each figure
/// that grows counts as a broken promise, as do clients that were cut off and a failing hold at the end.
int proveSoak(const std::filesystem::path& staged, const std::filesystem::path& work, double minutes);

} // namespace kelo
