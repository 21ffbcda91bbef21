#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "helper/SystemLog.h"

namespace kelo {

class LogOutput;

/// The helper's log. Writes each message to the system's log and, as one line, to standard error:
///
///     2026-11-16T02:03:06Z [NOTICE] listener: Asked to stop.
///
/// Messages are complete sentences and are written unchanged. A log can be copied and used on any thread; lines from
/// different threads do not interleave. Logging never fails: a message that cannot be written is lost.
class HelperLog {
public:
    static constexpr const char* subsystem = "app.kelo.helper";

    /// `logger` must have the subsystem `subsystem` and the category `category`. `output` is borrowed.
    HelperLog(std::shared_ptr<SystemLog> logger, std::string category, LogOutput& output);

    void error(std::string_view message) const noexcept;
    void notice(std::string_view message) const noexcept;

private:
    void log(LogLevel level, const char* word, std::string_view message) const noexcept;
    void echo(const char* word, std::string_view message) const;

    std::shared_ptr<SystemLog> logger_;
    std::string category_;
    LogOutput* output_;
};

} // namespace kelo
