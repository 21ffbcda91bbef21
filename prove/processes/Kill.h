#pragma once

#include <filesystem>
#include <string>

namespace kelo {

/// Ends a busy helper at a random moment, `tries` times: by a signal, by replacing or deleting its executable, or by
/// killing all of its clients. Prints what was done how often, the seed of each try that broke a promise, and what
/// SIGKILL leaves; writes the delays to the file `data`, if one is named, as `pictures draw` reads them. Returns how
/// many promises were broken: a fan was left manual, the status was not 0, or it took too long; or none of many tries
/// found a fan held, so that nothing was proved.
int proveKill(const std::filesystem::path& staged, const std::filesystem::path& work, int tries, unsigned seed,
              const std::string& data);

} // namespace kelo
