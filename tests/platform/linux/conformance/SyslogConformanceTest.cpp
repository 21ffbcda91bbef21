#include <syslog.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "platform/linux/SyslogSystemLog.h"
#include "tests/conformance/SystemLogConformance.h"

namespace {

/// What the process has said to the system's log, which no test could read back.
struct Said {
    std::mutex mutex;
    std::vector<std::pair<int, std::string>> lines;
};

Said& said() {
    static Said said;
    return said;
}

[[gnu::format(printf, 2, 0)]] void note(int priority, const char* format, va_list arguments) {
    std::array<char, 4096> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    const std::lock_guard lock(said().mutex);
    said().lines.emplace_back(priority, text.data());
}

} // namespace

// The linker puts these in the place of the functions of the C library; the second is what the first becomes where the
// compiler fortifies its sources.
extern "C" [[gnu::format(printf, 2, 3)]] void __wrap_syslog(int priority, const char* format, ...) { // NOLINT
    va_list arguments;
    va_start(arguments, format);
    note(priority, format, arguments);
    va_end(arguments);
}

extern "C" [[gnu::format(printf, 3, 4)]] void __wrap___syslog_chk(int priority, int, const char* format,
                                                                  ...) { // NOLINT
    va_list arguments;
    va_start(arguments, format);
    note(priority, format, arguments);
    va_end(arguments);
}

namespace kelo {
namespace {

class SyslogHarness {
public:
    SyslogHarness() { said().lines.clear(); }

    std::unique_ptr<SystemLog> makeLog(const std::string& category) {
        return std::make_unique<SyslogSystemLog>("app.kelo.helper", category);
    }

    std::vector<KeptEntry> entries() {
        std::vector<KeptEntry> kept;
        for (const auto& [priority, line] : said().lines) {
            const auto end = line.find("] ");
            kept.push_back({line.substr(1, end - 1), priority == LOG_ERR ? LogLevel::error : LogLevel::notice,
                            line.substr(end + 2)});
        }
        return kept;
    }

    bool canDisable() { return false; }
    void disable(LogLevel) {}
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, SystemLogConformance, SyslogHarness);

} // namespace
} // namespace kelo
