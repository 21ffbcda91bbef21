#pragma once

#include "client/Surroundings.h"

namespace kelo {

/// Searches PATH for the program and runs it without input. Kills it if it does not end within `timeout` seconds.
std::optional<Ran> spawnedCommand(const CommandWords& command, double timeout);

/// Implements `Surroundings::start`.
Companion startedCompanion(const CommandWords& command);

} // namespace kelo
