#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace kelo {

/// The script that makes a shell ("bash", "zsh" or "fish") complete a program's commands and options.
std::string completionsOf(const CLI::App& app, const std::string& shell);

} // namespace kelo
