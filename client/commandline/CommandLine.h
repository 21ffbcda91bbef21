#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "client/Surroundings.h"
#include "client/Terminal.h"

namespace kelo {

/// A function that runs the chosen command and returns the exit status.
using Command = std::function<int(const Surroundings&, Terminal&)>;

/// The command line of `kelo`. The help, the completions and the commands are all derived from it.
class CommandLine {
public:
    CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// Parses the command line and chooses the command. May return the status with which the program must exit
    /// immediately; see `statusOfParsing`. The words after "--" are a command that runs during a hold.
    std::optional<int> parse(int argc, const char* const* argv);
    const Command& command() const;

private:
    void declareStatus();
    void declareWatch();
    void declareHold();
    void declareRequests();
    void declareDoctor();
    void declareCompletions();
    void declareHelp();

    CLI::App app_;
    std::map<const CLI::App*, Command> commands_;
    bool isJSON_ = false;
    bool isLine_ = false;
    bool isPlain_ = false;
    bool isReport_ = false;
    bool handsBackOnLidClose_ = false;
    std::string interval_ = "1s";
    std::string speed_;
    std::optional<std::string> duration_;
    CommandWords companion_; ///< The command that runs during a hold.
    std::string shell_;
    std::string topic_;
};

} // namespace kelo
