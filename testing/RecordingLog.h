#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "helper/LogOutput.h"
#include "helper/SystemLog.h"

namespace kelo {

/// Keeps what would go to standard error, and tells a time that the test sets.
class RecordingOutput : public LogOutput {
public:
    double time = 1'793'930'586; // 2026-11-05T21:23:06Z... any moment will do
    bool isKept = true;          ///< False for lives so long that their log would fill the memory.
    /// Called with each message: a line without its newline and without the time and the blank before it.
    std::function<void(const std::string&)> onMessage = [](const std::string&) {};

    double wallClock() override { return time; }
    void writeStandardError(const std::string& bytes) override {
        const std::lock_guard lock(mutex_);
        if (isKept)
            writes_.push_back(bytes);
        onMessage(bytes.substr(bytes.find(' ') + 1, bytes.size() - bytes.find(' ') - 2));
    }

    /// One entry for each write.
    std::vector<std::string> writes() const {
        const std::lock_guard lock(mutex_);
        return writes_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> writes_;
};

/// Keeps what would go to the system's log.
class RecordingSystemLog : public SystemLog {
public:
    bool isErrorEnabled = true;
    bool isNoticeEnabled = true;

    bool isEnabled(LogLevel level) override { return level == LogLevel::error ? isErrorEnabled : isNoticeEnabled; }
    void write(LogLevel level, const std::string& message) override {
        const std::lock_guard lock(mutex_);
        entries_.emplace_back(level, message);
    }

    std::vector<std::pair<LogLevel, std::string>> entries() const {
        const std::lock_guard lock(mutex_);
        return entries_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::pair<LogLevel, std::string>> entries_;
};

} // namespace kelo
