#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "client/ExitStatus.h"

namespace kelo {

/// The innermost command on the command line; the program itself if there is no command.
inline const CLI::App& innermostCommand(const CLI::App& app) {
    const auto commands = app.get_subcommands();
    return commands.empty() ? app : innermostCommand(*commands.front());
}

/// The number of characters that must be added, removed or replaced to turn one word into the other.
inline std::size_t editsBetween(const std::string& from, const std::string& to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < from.size(); ++i) {
        auto diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const auto replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = std::exchange(row[j + 1], std::min({row[j] + 1, row[j + 1] + 1, replaced}));
        }
    }
    return row.back();
}

/// Suggests a command or option that resembles the word. Returns an empty string if there is none.
inline std::string suggestionFor(const CLI::App& command, const std::string& word) {
    std::vector<std::string> known;
    for (const auto* subcommand : command.get_subcommands([](const CLI::App*) { return true; }))
        known.push_back(subcommand->get_name());
    for (const auto* option : command.get_options([](const CLI::Option*) { return true; }))
        for (const auto& name : option->get_lnames())
            known.push_back("--" + name);
    const auto nearest = std::min_element(known.begin(), known.end(), [&](const auto& left, const auto& right) {
        return editsBetween(word, left) < editsBetween(word, right);
    });
    const bool isNear = nearest != known.end() && editsBetween(word, *nearest) <= 2 && word.size() > 2;
    return isNear ? "; did you mean \"" + *nearest + "\"?" : "";
}

/// Describes the mistake in a command line in a few words.
inline std::string usageReason(const CLI::App& command, const CLI::ParseError& error) {
    std::string text = error.what();
    const bool needsCommand = command.get_require_subcommand_min() > 0;
    auto unknown = command.remaining();
    if (error.get_name() == "ExtrasError") // "The following arguments were not expected: ..."
        unknown = CLI::detail::split(text.substr(text.rfind(": ") + 2), ' ');
    if (!unknown.empty()) {
        const auto& word = unknown.front();
        const std::string kind = word.starts_with('-') ? "option" : needsCommand ? "command" : "argument";
        return "unknown " + kind + " \"" + word + "\"" + suggestionFor(command, word);
    }
    if (needsCommand)
        return "a command is required";
    if (error.get_name() == "ArgumentMismatch")
        return text.substr(0, text.find(':')) + " needs a value";
    if (const auto middle = text.find(" excludes "); error.get_name() == "ExcludesError" && middle != std::string::npos)
        return text.substr(0, middle) + " and " + text.substr(middle + 10) + " cannot be used together";
    return text;
}

/// Describes the mistake in a command line in one sentence that refers to the help.
inline std::string usageError(const CLI::App& app, const CLI::ParseError& error) {
    const auto reason = usageReason(innermostCommand(app), error);
    return app.get_name() + ": " + reason + (reason.ends_with('?') ? " See " : "; see ") + app.get_name() + " --help";
}

/// Parses a command line. If it has printed the help or the version, or has reported incorrect usage on standard error,
/// returns the status with which the program must exit immediately. Otherwise returns nullopt.
inline std::optional<int> statusOfParsing(CLI::App& app, int argc, const char* const* argv) {
    try {
        app.parse(argc, argv);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) { // --help or --version
            app.exit(error);
            if (std::cout.flush() && std::fflush(stdout) == 0)
                return exit_status::done;
            std::fprintf(stderr, "%s: cannot write: %s\n", app.get_name().c_str(), std::strerror(errno));
            return exit_status::cannotWrite;
        }
        std::fprintf(stderr, "%s\n", usageError(app, error).c_str());
        return exit_status::wrongUsage;
    }
}

/// Parses the command line and runs the program, which returns its exit status. Reports an exception on standard error
/// and returns `failed`.
template <typename Run>
int runProgram(CLI::App& app, int argc, const char* const* argv, const Run& run) {
    if (const auto status = statusOfParsing(app, argc, argv))
        return *status;
    try {
        return run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", app.get_name().c_str(), error.what());
        return exit_status::failed;
    }
}

} // namespace kelo
