#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace kelo::doubles {

struct LogEntry {
    std::string subsystem;
    std::string category;
    std::uint8_t type;
    std::string text; ///< The formatted text; "<private>" for arguments not marked public.
    bool operator==(const LogEntry&) const = default;
};

std::vector<LogEntry> logEntries();

void setLogTypeEnabled(std::uint8_t type, bool isEnabled);

void resetLog();

} // namespace kelo::doubles
