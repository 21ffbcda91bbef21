#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kelo {

/// What a helper is started in, where it is to differ from what surrounds the process that starts it.
struct LaunchEnvironment {
    /// The socket in the helper's folder that it takes for that of the system's log, when it has a log of its own.
    static constexpr const char* logSocketName = "log.socket";

    bool hasOwnLog = false;                   ///< Needs the right to mount: see refusalOfOwnLog.
    std::filesystem::path standardError = {}; ///< A file, pipe or terminal; empty for a file of the log folder.
    int descriptors = 0;                      ///< How many it may have; 0 for as many as others.

    /// Why a process cannot have its own log here; empty if it can. Tries it in `folder`, once.
    static std::string refusalOfOwnLog(const std::filesystem::path& folder);

    /// The command that becomes the helper in `folder`.
    std::vector<std::string> command(const std::filesystem::path& folder) const;
};

} // namespace kelo
