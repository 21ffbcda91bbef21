#pragma once

#include <string>

#include "helper/SystemLog.h"

namespace kelo {

/// The system's log through syslog. Entries begin with their category in brackets.
class SyslogSystemLog : public SystemLog {
public:
    /// `subsystem` is the name under which the process logs; the first one made decides.
    SyslogSystemLog(const std::string& subsystem, std::string category);

    bool isEnabled(LogLevel) override { return true; }
    void write(LogLevel level, const std::string& message) override;

private:
    std::string category_;
};

} // namespace kelo
