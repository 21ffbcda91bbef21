#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>

#include "client/Terminal.h"
#include "client/Watch.h"
#include "client/doctor/RunCommand.h"

namespace kelo {

/// What the commands reach besides the terminal.
struct Surroundings {
    Connect connect;
    RunCommand run;
    std::string executable; ///< This program's.
};

/// What a command line asks for. Returns the exit status.
using Command = std::function<int(const Surroundings&, Terminal&)>;

/// The command line of `kelo`: what its help and its completions say, and what it does follow from this one definition.
class CommandLine {
public:
    CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// Parsing it sets the command. Throws `CLI::ParseError`, also for --help and --version.
    CLI::App& app() { return app_; }
    const Command& command() const { return command_; }

private:
    void declareStatus();
    void declareWatch();
    void declareHold();
    void declareRequests();
    void declareDoctor();
    void declareCompletions();

    CLI::App app_;
    Command command_;
    bool isJSON_ = false;
    bool isPlain_ = false;
    bool handsBackOnLidClose_ = false;
    std::string fraction_;
    std::optional<std::string> duration_;
    std::string shell_;
};

} // namespace kelo
