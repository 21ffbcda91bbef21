#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace kelo {

/// The command that the user named last, or the program itself.
inline const CLI::App& innermostCommand(const CLI::App& app) {
    const auto commands = app.get_subcommands();
    return commands.empty() ? app : innermostCommand(*commands.front());
}

/// What is wrong with a command line, in one sentence that points to the help. For every program with commands: the
/// library itself only says that a command is missing, even where there is one that it does not know.
inline std::string usageError(const CLI::App& app, const CLI::ParseError& error) {
    const auto& command = innermostCommand(app);
    std::string reason = error.what();
    if (command.get_require_subcommand_min() > 0) {
        const auto unknown = command.remaining();
        if (unknown.empty())
            reason = "a command is required";
        else
            reason = (unknown.front().starts_with('-') ? "unknown option \"" : "unknown command \"") + unknown.front() +
                     "\"";
    }
    return app.get_name() + ": " + reason + "; see " + app.get_name() + " --help";
}

} // namespace kelo
