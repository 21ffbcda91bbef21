#pragma once

#include <string>

#include "helper/SystemLog.h"
#include "platform/linux/log/SyslogSocket.h"

namespace kelo {

/// The system's log through syslog. Entries begin with their category in brackets.
class SyslogSystemLog : public SystemLog {
public:
    /// `subsystem` is the name under which it logs. `socket` is borrowed.
    SyslogSystemLog(std::string subsystem, std::string category, SyslogSocket& socket = SyslogSocket::ofTheSystem());

    bool isEnabled(LogLevel) override { return true; }
    void write(LogLevel level, const std::string& message) override;

private:
    std::string subsystem_;
    std::string category_;
    SyslogSocket& socket_;
};

} // namespace kelo
