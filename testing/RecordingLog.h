#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "helper/LogOutput.h"
#include "helper/SystemLog.h"

namespace kelo {

/// Records output to standard error, and returns a time that the test sets.
class RecordingOutput : public LogOutput {
public:
    double time = 1'793'930'586; // 2026-11-05T21:23:06Z, an arbitrary time
    bool isKept = true;          ///< False in long runs whose log would fill the memory.
    /// Called with each line, without its time and its newline.
    std::function<void(const std::string&)> onMessage = [](const std::string&) {};

    double wallClock() override { return time; }
    void writeStandardError(const std::string& bytes) override {
        const std::lock_guard lock(mutex_);
        if (isKept)
            writes_.push_back(bytes);
        onMessage(bytes.substr(bytes.find(' ') + 1, bytes.size() - bytes.find(' ') - 2));
    }

    /// One entry per write.
    std::vector<std::string> writes() const {
        const std::lock_guard lock(mutex_);
        return writes_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> writes_;
};

/// Records entries for the system log.
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
