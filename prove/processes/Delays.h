#pragma once

#include <filesystem>
#include <string>

namespace kelo {

/// Measures how long a helper that is asked to leave takes to have every fan automatic, and to end; `tries` times in
/// each situation. Prints a table. Returns how many tries broke a promise: a fan was left manual, the status was not 0,
/// or it took too long. `staged` is an installation, `work` an empty folder; `only` names the
/// one situation to measure, or is empty.
int proveDelays(const std::filesystem::path& staged, const std::filesystem::path& work, int tries,
                const std::string& only);

} // namespace kelo
