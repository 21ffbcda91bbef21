#pragma once

#include <cstddef>
#include <string>

#include "client/Surroundings.h"
#include "client/Terminal.h"

namespace kelo {

enum class Verdict {
    good,
    note, ///< Worth knowing, but not a fault.
    bad
};

struct Finding {
    Verdict verdict;
    std::string subject; ///< One or two words.
    std::string text;    ///< One or more lines.
    std::string advice;  ///< What to do about it; empty only for a good finding.
};

/// Receives each finding as soon as it is known.
using Report = std::function<void(const Finding&)>;

/// The output of a command; empty if it failed or could not be run.
std::string outputOf(const RunCommand& run, const std::vector<std::string>& command);

/// The text after `name` in the first line that begins with it, ignoring leading blanks; empty if there is none.
std::string valueOf(const std::string& output, const std::string& name);

/// The last `count` lines of a text, or all if there are fewer.
std::string lastLines(const std::string& text, std::size_t count);

/// Reports whether the helper is reachable, its version, its fans, the chip temperature, and who holds the fans. If
/// nobody does, tries a hold. `isInstalled`: no fault has been found before.
void examineService(const Surroundings& surroundings, Terminal& terminal, bool isInstalled, const Report& report);

/// Reports whether launchd knows the helper on this Mac, whether it is running, and who signed it. `executable` is this
/// program's path.
void examineMac(const RunCommand& run, const std::string& executable, const Report& report);
Finding macLog(const RunCommand& run);

/// Reports the same for the helper of a development installation on Linux, in the folder of `executable`.
void examineDevelopment(const RunCommand& run, const std::string& executable, const Report& report);
Finding developmentLog(const RunCommand& run);

} // namespace kelo
