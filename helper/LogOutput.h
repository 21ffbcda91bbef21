#pragma once

#include <string>

namespace kelo {

/// Writes log lines to standard error and supplies their timestamps. Any thread.
class LogOutput {
public:
    LogOutput() = default;
    LogOutput(const LogOutput&) = delete;
    LogOutput& operator=(const LogOutput&) = delete;
    virtual ~LogOutput() = default;

    /// The seconds since 1970 in UTC.
    virtual double wallClock() = 0;

    /// Writes `bytes` to standard error in one write; a failure is ignored.
    virtual void writeStandardError(const std::string& bytes) = 0;
};

} // namespace kelo
