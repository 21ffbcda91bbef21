#pragma once

#include <functional>
#include <optional>
#include <string>

namespace kelo::doubles {

// The linker redirects open, close, stat, signal and geteuid of the sources under test to this double. It journals the
// calls on request and passes them on, except signal, whose disposition it only stores, and geteuid.

/// Whether `signal` was given the disposition SIG_IGN.
bool isIgnored(int signal);

/// Sets the effective user of the process; 0 by default.
void setEffectiveUser(unsigned int user);

/// Makes proc_pidpath return this path, truncated to the buffer, or 0 without a path.
void setOwnPath(std::optional<std::string> path);

void journalFiles(bool isOn);

void resetPosix();

} // namespace kelo::doubles
