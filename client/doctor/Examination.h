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
    std::string advice;  ///< The recommended action; empty only for a good finding.
};

/// A function that receives each finding as soon as it is known.
using Report = std::function<void(const Finding&)>;

/// Runs a command and returns its output; empty if the command fails or cannot be run.
std::string outputOf(const RunCommand& run, const std::vector<std::string>& command);

/// Finds the first line that begins with `name`, ignoring leading blanks. Returns the rest of the line; empty if there
/// is no such line.
std::string valueOf(const std::string& output, const std::string& name);

/// The last `count` lines of a text, or all lines if there are fewer.
std::string lastLines(const std::string& text, std::size_t count);

/// Reports whether the helper can be reached, its version, the fans, the chip temperature, and who holds the fans. If
/// no client holds them, tries a hold. `isInstalled` means that the examination has not found a fault so far.
void examineService(const Surroundings& surroundings, Terminal& terminal, bool isInstalled, const Report& report);

/// Reports whether launchd knows the helper on this Mac, whether the helper is running, and which team signed it.
/// `executable` is this program's path.
void examineMac(const RunCommand& run, const std::string& executable, const Report& report);
Finding macLog(const RunCommand& run);

/// Examines a development installation on Linux: reports whether the helper in the folder of `executable` is present,
/// whether it is running, and which team signed it.
void examineDevelopment(const RunCommand& run, const std::string& executable, const Report& report);
Finding developmentLog(const RunCommand& run);

} // namespace kelo
