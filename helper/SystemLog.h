#pragma once

#include <string>

namespace kelo {

enum class LogLevel { error, notice };

/// One category of the system's log. Any thread.
class SystemLog {
public:
    SystemLog() = default;
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;
    virtual ~SystemLog() = default;

    /// Whether the system stores entries of this level.
    virtual bool isEnabled(LogLevel level) = 0;

    /// Adds one entry whose text is public, so that everyone with access to the log can read it.
    virtual void write(LogLevel level, const std::string& message) = 0;
};

} // namespace kelo
