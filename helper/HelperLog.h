#pragma once

#include <memory>
#include <string>

#include "helper/SystemLog.h"

namespace kelo {

class LogOutput;

/// The helper's log: each message goes to the system's log and, as one line, to standard error:
///
///     2026-11-16T02:03:06Z [NOTICE] listener: Asked to stop.
///
/// Messages are whole sentences and are written as they are. Copied freely; any thread; lines of different threads do
/// not interleave.
class HelperLog {
public:
    static constexpr const char* subsystem = "app.kelo.helper";

    /// `logger` was made for `subsystem` and the same category. `output` is borrowed.
    HelperLog(std::shared_ptr<SystemLog> logger, std::string category, LogOutput& output);

    void error(const std::string& message) const;
    void notice(const std::string& message) const;

private:
    void log(LogLevel level, const char* word, const std::string& message) const;
    void echo(const char* word, const std::string& message) const;

    std::shared_ptr<SystemLog> logger_;
    std::string category_;
    LogOutput* output_;
};

} // namespace kelo
