#pragma once

#include "client/doctor/RunCommand.h"

namespace kelo {

/// Runs a command as a process without input; the program is found as a shell finds it. One that does not end within
/// `timeout` seconds is killed.
std::optional<Ran> spawnedCommand(const std::vector<std::string>& command, double timeout);

} // namespace kelo
