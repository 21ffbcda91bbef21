#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/HelperConnection.h"

namespace kelo {

/// Connects to the helper, or throws `HelperUnreachable`. Any thread.
using Connect = std::function<std::unique_ptr<HelperConnection>()>;

using CommandWords = std::vector<std::string>;

/// How a command ended.
struct Ran {
    int status;         ///< Its exit status.
    std::string output; ///< Standard output and standard error in their order.
};

/// Runs a command, its program and its arguments, to its end. Returns nullopt when it cannot be run, is ended by a
/// signal, or does not end in time.
using RunCommand = std::function<std::optional<Ran>(const CommandWords&)>;

/// A program that runs beside this one, with the same standard streams.
struct Companion {
    std::function<std::optional<int>()>
        status;                             ///< Its exit status, or 128 plus the signal that ended it; does not wait.
    std::function<void(int signal)> signal; ///< Sends a signal to it.
};

/// What the commands reach besides the terminal.
struct Surroundings {
    Connect connect;
    RunCommand run;
    /// Starts a command. One that cannot be run ends with the status that shells use, 126 or 127.
    std::function<Companion(const CommandWords&)> start;
    std::string executable; ///< The path of this program, or the name by which it was started.
    std::string home;       ///< The user's home folder; empty if unknown.
    bool isMac = true;

    /// How to stop a helper that does not answer, so that it hands the fans back.
    std::string stopAdvice() const {
        return isMac ? "sudo launchctl kill SIGTERM system/app.kelo.helper" : "end it with Ctrl-C or SIGTERM";
    }
};

} // namespace kelo
