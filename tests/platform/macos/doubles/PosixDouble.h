#pragma once

#include <functional>
#include <optional>
#include <string>

namespace kelo::doubles {

// open, close, stat, signal and geteuid of the sources under test come by here (the linker wraps them) and are
// journalled while a fixture asks for it. They do what they always do, but for signal, which only keeps what was set,
// and geteuid.

/// Whether `signal` was given the disposition SIG_IGN.
bool isIgnored(int signal);

/// As whom the process acts; as user 0 unless told otherwise.
void setEffectiveUser(unsigned int user);

/// What proc_pidpath answers: this path, cut to the buffer, or 0 for none.
void setOwnPath(std::optional<std::string> path);

/// Whether the calls of the C library go into the journal.
void journalFiles(bool isOn);

void resetPosix();

} // namespace kelo::doubles
