#pragma once

#include <cstddef>
#include <string>

#include "client/doctor/Finding.h"
#include "client/doctor/RunCommand.h"

namespace kelo {

/// What a command has printed; empty when it failed or could not be run.
std::string outputOf(const RunCommand& run, const std::vector<std::string>& command);

/// What follows `name` in the first line that begins with it, blanks aside; empty when there is none.
std::string valueOf(const std::string& output, const std::string& name);

/// The last lines of a text, at most so many.
std::string lastLines(const std::string& text, std::size_t count);

/// What the helper itself says: is it reachable, its version, its fans, who holds them. `restart` tells how to restart
/// a helper that does not answer.
Findings examineService(const RunCommand& run, const std::string& executable, const std::string& restart);

/// The helper that launchd knows on a Mac: installed, running, signed by whom. `executable` is this program's.
Findings examineMac(const RunCommand& run, const std::string& executable);
Finding macLog(const RunCommand& run);

/// The helper of a development installation on Linux, in the folder that `executable` lies in.
Findings examineDevelopment(const RunCommand& run, const std::string& executable);
Finding developmentLog(const RunCommand& run);

} // namespace kelo
