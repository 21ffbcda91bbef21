#pragma once

#include <CLI/CLI.hpp>
#include <cstdio>
#include <optional>
#include <string>

#include "client/ExitStatus.h"

namespace kelo {

/// The command that the user named last, or the program itself.
inline const CLI::App& innermostCommand(const CLI::App& app) {
    const auto commands = app.get_subcommands();
    return commands.empty() ? app : innermostCommand(*commands.front());
}

/// What is wrong with a command line, in one sentence that points to the help. The library itself only says that a
/// command is missing, even where there is one that it does not know.
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

/// Parses a command line, for every program with commands. Returns the status with which the program is to end at once:
/// it was asked for its help or version, or the usage is wrong, which standard error has been told.
inline std::optional<int> statusOfParsing(CLI::App& app, int argc, const char* const* argv) {
    try {
        app.parse(argc, argv);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) // --help or --version
            return app.exit(error);
        std::fprintf(stderr, "%s\n", usageError(app, error).c_str());
        return exit_status::wrongUsage;
    }
}

} // namespace kelo
