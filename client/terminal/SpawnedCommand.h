#pragma once

#include "client/Surroundings.h"

namespace kelo {

/// Runs a command as a process without input; the program is found as a shell finds it. One that does not end within
/// `timeout` seconds is ended by a signal.
std::optional<Ran> spawnedCommand(const CommandWords& command, double timeout);

/// As `Surroundings::start`.
Companion startedCompanion(const CommandWords& command);

} // namespace kelo
