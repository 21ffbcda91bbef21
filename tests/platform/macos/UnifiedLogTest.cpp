#include "platform/macos/UnifiedLog.h"

#include "platform/posix/Containment.h"
#include "tests/platform/macos/doubles/LogDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"

namespace kelo {
namespace {

using doubles::journal;
using doubles::logEntries;
using doubles::LogEntry;
using ::testing::ElementsAre;

constexpr std::uint8_t defaultType = 0x00;
constexpr std::uint8_t errorType = 0x10;
constexpr std::uint8_t faultType = 0x11;

class UnifiedLogTest : public doubles::OnDoubles {};

TEST_F(UnifiedLogTest, CreatesItsLogObjectOnce) {
    const auto log = makeUnifiedLog("app.kelo.helper", "listener");
    log->write(LogLevel::notice, "one");
    log->write(LogLevel::notice, "two");
    EXPECT_THAT(journal().take(), ElementsAre("os_log_create app.kelo.helper listener"));
}

TEST_F(UnifiedLogTest, MapsErrorsAndNoticesToLogTypes) {
    const auto log = makeUnifiedLog("app.kelo.helper", "service");
    log->write(LogLevel::error, "There is no fan to control.");
    log->write(LogLevel::notice, "Asked to stop.");
    EXPECT_THAT(logEntries(),
                ElementsAre(LogEntry{"app.kelo.helper", "service", errorType, "There is no fan to control."},
                            LogEntry{"app.kelo.helper", "service", defaultType, "Asked to stop."}));
}

TEST_F(UnifiedLogTest, WritesFaultsToASeparateCategory) {
    reportFault("the listener", "it is broken");
    EXPECT_THAT(logEntries(),
                ElementsAre(LogEntry{"app.kelo.helper", "platform", faultType, "the listener: it is broken"}));
}

} // namespace
} // namespace kelo
