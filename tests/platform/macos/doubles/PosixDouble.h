#pragma once

#include <functional>
#include <optional>
#include <string>

namespace kelo::doubles {

// The linker redirects open, close, stat, signal and geteuid of the code under test to this double. It passes on open,
// close and stat, and journals them if requested. For signal it only stores the disposition; geteuid returns a setting.

/// Whether `signal` was given the disposition SIG_IGN.
bool isIgnored(int signal);

/// Sets the effective user of the process; 0 by default.
void setEffectiveUser(unsigned int user);

/// Makes proc_pidpath return `path`, truncated to the buffer. Without a path, makes it return 0.
void setOwnPath(std::optional<std::string> path);

void journalFiles(bool isOn);

void resetPosix();

} // namespace kelo::doubles
