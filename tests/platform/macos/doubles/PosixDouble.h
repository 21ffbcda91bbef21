#pragma once

#include <functional>
#include <optional>
#include <string>

namespace kelo::doubles {

// The linker redirects the open, close, stat, signal and geteuid of the sources under test to this double, which
// journals them on request and passes them on, except signal, which only stores the disposition, and geteuid.

/// Whether `signal` was given the disposition SIG_IGN.
bool isIgnored(int signal);

/// The user as whom the process acts: 0 by default.
void setEffectiveUser(unsigned int user);

/// Makes proc_pidpath return this path, cut to the buffer, or 0 without one.
void setOwnPath(std::optional<std::string> path);

/// Whether the C library calls are journalled.
void journalFiles(bool isOn);

void resetPosix();

} // namespace kelo::doubles
