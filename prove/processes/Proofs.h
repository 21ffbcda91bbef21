#pragma once

#include <filesystem>
#include <string>

namespace kelo {

// Each proof prints figures and returns how many promises were broken. `staged` is an installation, `work` an empty
// folder.

/// Measures how long a helper that is asked to leave takes to have every fan automatic, and to end; `tries` times in
/// each situation. A try breaks a promise when a fan was left manual, the status was not 0, or it took too long. `only`
/// names the one situation to measure, or is empty.
int proveDelays(const std::filesystem::path& staged, const std::filesystem::path& work, int tries,
                const std::string& only);

/// Ends a busy helper at a random moment, `tries` times: by a signal, by replacing or deleting its executable, or by
/// killing all of its clients. Prints how often each happened, the seed of each try that broke a promise, and what
/// SIGKILL leaves; writes the delays to the file `data`, if one is named, as `pictures draw` reads them. A promise is
/// broken when a fan was left manual, the status was not 0, or it took too long; or when none of many tries found a fan
/// held, so that nothing was proved.
int proveKill(const std::filesystem::path& staged, const std::filesystem::path& work, int tries, unsigned seed,
              const std::string& data);

/// Kills a helper that holds, `tries` times, and starts it again. Prints what SIGKILL leaves, which the helper cannot
/// prevent. A promise is broken when a later way out left a fan manual, or when nothing was left for it to hand back,
/// so that nothing was measured.
int proveSIGKILL(const std::filesystem::path& staged, const std::filesystem::path& work, int tries);

/// Lets 50 clients come and go for this many minutes of real time, and samples what the helper uses. Counts the figures
/// that are not flat, and whether clients were cut off meanwhile or cannot hold at its end.
int proveSoak(const std::filesystem::path& staged, const std::filesystem::path& work, double minutes);

} // namespace kelo
