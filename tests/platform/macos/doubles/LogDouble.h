#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace kelo::doubles {

/// One entry of the unified log.
struct LogEntry {
    std::string subsystem;
    std::string category;
    std::uint8_t type;
    std::string text; ///< The format with its arguments filled in; "<private>" for one that was not marked public.
    bool operator==(const LogEntry&) const = default;
};

std::vector<LogEntry> logEntries();

/// Turns a type off or on for every log.
void setLogTypeEnabled(std::uint8_t type, bool isEnabled);

void resetLog();

} // namespace kelo::doubles
