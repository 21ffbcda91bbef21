#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace kelo {

/// Returns the script that makes a shell ("bash", "zsh" or "fish") complete the commands and options of a program.
std::string completionsOf(const CLI::App& app, const std::string& shell);

} // namespace kelo
