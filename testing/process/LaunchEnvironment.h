#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kelo {

/// Differences between the environment of a helper and that of the process that starts it.
struct LaunchEnvironment {
    /// The socket in the helper's folder that replaces the system log if `hasOwnLog` is set.
    static constexpr const char* logSocketName = "log.socket";

    bool hasOwnLog = false;                   ///< Requires the right to mount: see refusalOfOwnLog.
    std::filesystem::path standardError = {}; ///< A file, pipe or terminal; if empty, a file in the log folder.
    int descriptors = 0;                      ///< The limit of open descriptors; 0 leaves the default.

    /// Returns why a process cannot have a separate log on this machine, or an empty string if it can. Runs a trial
    /// process in `folder`.
    static std::string refusalOfOwnLog(const std::filesystem::path& folder);

    /// The command that becomes the helper in `folder`.
    std::vector<std::string> command(const std::filesystem::path& folder) const;
};

} // namespace kelo
