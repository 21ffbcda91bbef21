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
    std::string output; ///< Standard output and standard error, interleaved as written.
};

/// Runs a command and waits for its end. Returns nullopt if it cannot be run, is ended by a signal, or does not end in
/// time.
using RunCommand = std::function<std::optional<Ran>(const CommandWords&)>;

/// A child process with the same standard streams.
struct Companion {
    /// The exit status, or 128 plus the signal that ended the process; nullopt while it runs.
    std::function<std::optional<int>()> status;
    std::function<void(int signal)> signal; ///< Sends a signal to the process.
};

/// Everything that the commands use besides the terminal.
struct Surroundings {
    Connect connect;
    RunCommand run;
    /// Starts a command. A command that cannot be run ends with status 126 or 127, as in a shell.
    std::function<Companion(const CommandWords&)> start;
    std::string executable; ///< The path of this program, or the name it was started by.
    std::string home;       ///< The user's home folder; empty if unknown.
    bool isMac = true;

    /// How to stop a helper that does not answer so that it hands the fans back.
    std::string stopAdvice() const {
        return isMac ? "sudo launchctl kill SIGTERM system/app.kelo.helper" : "end it with Ctrl-C or SIGTERM";
    }
};

} // namespace kelo
