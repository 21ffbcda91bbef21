#pragma once

#include <functional>
#include <optional>
#include <string>

namespace kelo::doubles {

// The linker redirects calls to open, close, stat, signal and geteuid in the code under test to this double. The double
// passes on open, close and stat, and journals them if requested. Its signal only stores the disposition, and its
// geteuid returns the user that the test has set.

/// Whether `signal` was given the disposition SIG_IGN.
bool isIgnored(int signal);

/// Sets the effective user of the process; 0 by default.
void setEffectiveUser(unsigned int user);

/// Makes proc_pidpath return `path`, truncated to the buffer. Without a path, makes it return 0.
void setOwnPath(std::optional<std::string> path);

void journalFiles(bool isOn);

void resetPosix();

} // namespace kelo::doubles
