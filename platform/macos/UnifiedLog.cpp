#include "platform/macos/UnifiedLog.h"

#include <os/log.h>

namespace kelo {

namespace {

os_log_type_t typeOf(LogLevel level) { return level == LogLevel::error ? OS_LOG_TYPE_ERROR : OS_LOG_TYPE_DEFAULT; }

class UnifiedLog : public SystemLog {
public:
    UnifiedLog(std::string subsystem, std::string category)
        : subsystem_(std::move(subsystem)), category_(std::move(category)),
          log_(os_log_create(subsystem_.c_str(), category_.c_str())) {}

    bool isEnabled(LogLevel level) override { return os_log_type_enabled(log_, typeOf(level)); }

    void write(LogLevel level, const std::string& message) override {
        os_log_with_type(log_, typeOf(level), "%{public}s", message.c_str());
    }

private:
    // These are members because the strings must outlive the log object.
    const std::string subsystem_;
    const std::string category_;
    const os_log_t log_; // never released: log objects last as long as the process
};

} // namespace

std::unique_ptr<SystemLog> makeUnifiedLog(const std::string& subsystem, const std::string& category) {
    return std::make_unique<UnifiedLog>(subsystem, category);
}

} // namespace kelo
