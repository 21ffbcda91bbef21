#include "tests/conformance/SystemLogConformance.h"

#include <os/log.h>

#include "platform/macos/UnifiedLog.h"
#include "tests/platform/macos/doubles/LogDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"

namespace kelo {
namespace {

class UnifiedLogHarness {
public:
    std::unique_ptr<SystemLog> makeLog(const std::string& category) {
        return makeUnifiedLog("app.kelo.helper", category);
    }

    std::vector<KeptEntry> entries() {
        std::vector<KeptEntry> kept;
        for (const auto& entry : doubles::logEntries())
            if (entry.subsystem == "app.kelo.helper")
                kept.push_back(
                    {entry.category, entry.type == OS_LOG_TYPE_ERROR ? LogLevel::error : LogLevel::notice, entry.text});
        return kept;
    }

    bool canDisable() { return true; }
    void disable(LogLevel level) {
        doubles::setLogTypeEnabled(level == LogLevel::error ? OS_LOG_TYPE_ERROR : OS_LOG_TYPE_DEFAULT, false);
    }

private:
    doubles::DoublesScope scope_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(MacOS, SystemLogConformance, UnifiedLogHarness);

} // namespace
} // namespace kelo
