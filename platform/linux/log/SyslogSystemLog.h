#pragma once

#include <syslog.h>

#include <string>
#include <utility>

#include "helper/SystemLog.h"
#include "platform/linux/log/SyslogSocket.h"

namespace kelo {

/// Logs to the system log through syslog. Entries begin with their category in brackets.
class SyslogSystemLog : public SystemLog {
public:
    /// `subsystem` is the process name in the entries. `socket` is borrowed.
    SyslogSystemLog(std::string subsystem, std::string category, SyslogSocket& socket = SyslogSocket::ofTheSystem())
        : subsystem_(std::move(subsystem)), category_(std::move(category)), socket_(socket) {}

    bool isEnabled(LogLevel) override { return true; }
    void write(LogLevel level, const std::string& message) override {
        socket_.write(level == LogLevel::error ? LOG_ERR : LOG_NOTICE, subsystem_.c_str(), category_.c_str(), message);
    }

private:
    std::string subsystem_;
    std::string category_;
    SyslogSocket& socket_;
};

} // namespace kelo
