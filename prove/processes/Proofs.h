#pragma once

#include <filesystem>
#include <string>

namespace kelo {

// Each proof prints figures and returns how many promises were broken. `staged` is an installation, `work` an empty
// folder.

/// Measures, `tries` times in each situation, how long after SIGTERM the last fan is automatic and the helper has
/// exited. A try breaks a promise if a fan was left manual, the status was not 0, or it took too long. `only` is the
/// name of the only situation to measure, or empty.
int proveDelays(const std::filesystem::path& staged, const std::filesystem::path& work, int tries,
                const std::string& only);

/// Ends a busy helper at a random time, `tries` times: by a signal, by replacing or deleting its executable, or by
/// killing all its clients. Prints the counts, the seed of each try that broke a promise, and the effects of SIGKILL.
/// Writes the delays to the file `data`, unless it is empty, as input of `pictures draw`. A promise is broken if a fan
/// was left manual, the status was not 0, or it took too long; or if none of many tries found a held fan, so that
/// nothing was proved.
int proveKill(const std::filesystem::path& staged, const std::filesystem::path& work, int tries, unsigned seed,
              const std::string& data);

/// Kills a holding helper with SIGKILL, `tries` times, and starts it again. Prints how often a fan stayed manual, which
/// the helper cannot prevent. A promise is broken if a fan is still manual after a later exit, or if no fan ever stayed
/// manual, so that nothing was measured.
int proveSIGKILL(const std::filesystem::path& staged, const std::filesystem::path& work, int tries);

/// Lets 50 clients connect and disconnect for `minutes` of real time and samples the helper's resources. A promise is
/// broken by each figure that grows, by clients that were cut off, and by a client that cannot hold at the end.
int proveSoak(const std::filesystem::path& staged, const std::filesystem::path& work, double minutes);

} // namespace kelo
