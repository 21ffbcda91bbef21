#pragma once

#include <string>

#include "client/Terminal.h"
#include "client/doctor/RunCommand.h"

namespace kelo::commands {

/// Looks at the installation, asks the helper by way of this program's own commands, so that one that does not answer
/// holds up nothing, and prints what it has found. Returns 0 when everything works, otherwise 1.
int doctor(const RunCommand& run, const std::string& executable, Terminal& terminal);

} // namespace kelo::commands
