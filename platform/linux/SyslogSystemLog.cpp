#include "platform/linux/SyslogSystemLog.h"

#include <syslog.h>

#include <utility>

namespace kelo {

SyslogSystemLog::SyslogSystemLog(const std::string& subsystem, std::string category) : category_(std::move(category)) {
    static const std::string ident = subsystem; // openlog keeps the pointer
    openlog(ident.c_str(), LOG_PID, LOG_DAEMON);
}

void SyslogSystemLog::write(LogLevel level, const std::string& message) {
    syslog(level == LogLevel::error ? LOG_ERR : LOG_NOTICE, "[%s] %s", category_.c_str(), message.c_str());
}

} // namespace kelo
