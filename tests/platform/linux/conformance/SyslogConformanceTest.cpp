#include <syslog.h>

#include <mutex>

#include "platform/linux/log/SyslogSystemLog.h"
#include "testing/FakeLogDaemon.h"
#include "testing/TemporaryFolder.h"
#include "tests/conformance/SystemLogConformance.h"

namespace kelo {
namespace {

/// Collects the entries that the daemon receives. The daemon reads after each entry, because its queue has room for
/// only a few entries and further entries are dropped.
class SyslogHarness {
public:
    std::unique_ptr<SystemLog> makeLog(const std::string& category) {
        return std::make_unique<ReadLog>(*this, category);
    }

    std::vector<KeptEntry> entries() { return entries_; }

    bool canDisable() { return false; }
    void disable(LogLevel) {}

private:
    /// Makes the daemon read after each entry.
    class ReadLog : public SystemLog {
    public:
        ReadLog(SyslogHarness& harness, const std::string& category)
            : harness_(harness), log_("app.kelo.helper", category, harness.socket_) {}
        bool isEnabled(LogLevel level) override { return log_.isEnabled(level); }
        void write(LogLevel level, const std::string& message) override {
            log_.write(level, message);
            harness_.readEntries();
        }

    private:
        SyslogHarness& harness_;
        SyslogSystemLog log_;
    };

    void readEntries() {
        const std::lock_guard lock(mutex_);
        for (const auto& entry : daemon_.read())
            entries_.push_back(parsed(entry));
    }

    static KeptEntry parsed(const std::string& entry) {
        const auto priority = entry.substr(0, entry.find('>') + 1);
        const auto level =
            priority == "<" + std::to_string(LOG_DAEMON | LOG_ERR) + ">" ? LogLevel::error : LogLevel::notice;
        const auto begin = entry.find(": [") + 3;
        const auto end = entry.find("] ", begin);
        return {entry.substr(begin, end - begin), level, entry.substr(end + 2)};
    }

    TemporaryFolder folder_;
    FakeLogDaemon daemon_{folder_ / "log"};
    SyslogSocket socket_{(folder_ / "log").string()};
    std::mutex mutex_; ///< Guards the entries.
    std::vector<KeptEntry> entries_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, SystemLogConformance, SyslogHarness);

} // namespace
} // namespace kelo
