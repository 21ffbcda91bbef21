#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/HelperConnection.h"

namespace kelo {

/// Connects to the helper, or throws `HelperUnreachable`. May be called from any thread.
using Connect = std::function<std::unique_ptr<HelperConnection>()>;

using CommandWords = std::vector<std::string>;

struct Ran {
    int status;         ///< Its exit status.
    std::string output; ///< Standard output and standard error in the order in which they were written.
};

/// Runs a command and waits for its end. Returns nullopt if the command does not exist or cannot be started, if a
/// signal ends it, or if it does not end in time.
using RunCommand = std::function<std::optional<Ran>(const CommandWords&)>;

/// A child process that shares the standard streams of this process.
struct Companion {
    /// Returns the exit status, or 128 plus the number of the signal that ended the process; nullopt while the process
    /// runs.
    std::function<std::optional<int>()> status;
    std::function<void(int signal)> signal; ///< Sends a signal to the process.
};

/// Everything that the commands use besides the terminal.
struct Surroundings {
    Connect connect;
    RunCommand run;
    /// Starts a command. If the command cannot be run, its status is 126 or 127, as in a shell.
    std::function<Companion(const CommandWords&)> start;
    std::string executable; ///< The path of this program, or the name with which it was started.
    std::string home;       ///< The user's home folder; empty if unknown.
    bool isMac = true;

    /// The way to stop a helper that does not answer and still make it hand the fans back.
    std::string stopAdvice() const {
        return isMac ? "sudo launchctl kill SIGTERM system/app.kelo.helper" : "end it with Ctrl-C or SIGTERM";
    }
};

} // namespace kelo
