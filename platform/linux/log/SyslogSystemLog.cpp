#include "platform/linux/log/SyslogSystemLog.h"

#include <syslog.h>

#include <utility>

namespace kelo {

SyslogSystemLog::SyslogSystemLog(std::string subsystem, std::string category, SyslogSocket& socket)
    : subsystem_(std::move(subsystem)), category_(std::move(category)), socket_(socket) {}

void SyslogSystemLog::write(LogLevel level, const std::string& message) {
    socket_.write(level == LogLevel::error ? LOG_ERR : LOG_NOTICE, subsystem_.c_str(), category_.c_str(), message);
}

} // namespace kelo
