#pragma once

#include <cstddef>
#include <string>

#include "client/Surroundings.h"
#include "client/Terminal.h"

namespace kelo {

enum class Verdict {
    good,
    note, ///< Worth knowing, and no fault.
    bad
};

/// What the doctor has found about one subject.
struct Finding {
    Verdict verdict;
    std::string subject; ///< In one or two words.
    std::string text;    ///< One line or several.
    std::string advice;  ///< What to do about it; empty only for a good finding.
};

/// Takes each finding as soon as it is made.
using Report = std::function<void(const Finding&)>;

/// What a command has printed; empty when it failed or could not be run.
std::string outputOf(const RunCommand& run, const std::vector<std::string>& command);

/// What follows `name` in the first line that begins with it, blanks aside; empty when there is none.
std::string valueOf(const std::string& output, const std::string& name);

/// The last lines of a text, at most so many.
std::string lastLines(const std::string& text, std::size_t count);

/// Asks the helper: is it reachable, its version, its fans, its chip, who holds them, and can they be held.
/// `isInstalled`: no fault was found before.
void examineService(const Surroundings& surroundings, Terminal& terminal, bool isInstalled, const Report& report);

/// Examines the helper that launchd knows on a Mac: installed, running, signed by whom. `executable` is this program's.
void examineMac(const RunCommand& run, const std::string& executable, const Report& report);
Finding macLog(const RunCommand& run);

/// The same for the helper of a development installation on Linux, in the folder of `executable`.
void examineDevelopment(const RunCommand& run, const std::string& executable, const Report& report);
Finding developmentLog(const RunCommand& run);

} // namespace kelo
