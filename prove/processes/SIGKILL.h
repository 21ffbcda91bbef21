#pragma once

#include <filesystem>

namespace kelo {

/// Kills a helper that holds, `tries` times, and starts it again. Prints what SIGKILL leaves, which the helper cannot
/// prevent. Returns how many promises were broken: a later way out left a fan manual; or nothing was left for it to
/// hand back, so that nothing was measured.
int proveSIGKILL(const std::filesystem::path& staged, const std::filesystem::path& work, int tries);

} // namespace kelo
