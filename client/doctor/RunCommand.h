#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kelo {

/// How a command ended.
struct Ran {
    int status;         ///< Its exit status.
    std::string output; ///< Standard output and standard error, as they came.
};

/// Runs a command, its program and its arguments, to its end. None when it cannot be run, is ended by a signal, or does
/// not end in time.
using RunCommand = std::function<std::optional<Ran>(const std::vector<std::string>& command)>;

} // namespace kelo
