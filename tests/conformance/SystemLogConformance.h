#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "helper/SystemLog.h"

namespace kelo {

/// An entry that the system has stored.
struct KeptEntry {
    std::string category;
    LogLevel level;
    std::string message;
    bool operator==(const KeptEntry&) const = default;
};

/// Tests every system log. The harness:
///
///     std::unique_ptr<SystemLog> makeLog(const std::string& category);  // of the helper's subsystem
///     std::vector<KeptEntry> entries();   // of the helper's subsystem, in order
///     bool canDisable();                  // whether `disable` works
///     void disable(LogLevel level);
template <typename Harness>
class SystemLogConformance : public ::testing::Test {
protected:
    Harness harness;
};

TYPED_TEST_SUITE_P(SystemLogConformance);

TYPED_TEST_P(SystemLogConformance, KeepsMessagesWithTheirCategoryAndLevel) {
    const auto listener = this->harness.makeLog("listener");
    const auto service = this->harness.makeLog("service");
    listener->write(LogLevel::notice, "Asked to stop.");
    service->write(LogLevel::error, "There is no fan to control.");
    EXPECT_THAT(this->harness.entries(),
                ::testing::ElementsAre(KeptEntry{"listener", LogLevel::notice, "Asked to stop."},
                                       KeptEntry{"service", LogLevel::error, "There is no fan to control."}));
}

TYPED_TEST_P(SystemLogConformance, KeepsMessagesUnchanged) {
    const auto log = this->harness.makeLog("service");
    log->write(LogLevel::notice, "100 % of %s and %n, %{private}s");
    log->write(LogLevel::notice, "");
    log->write(LogLevel::notice, "Lüfter läuft");
    EXPECT_THAT(this->harness.entries(),
                ::testing::ElementsAre(KeptEntry{"service", LogLevel::notice, "100 % of %s and %n, %{private}s"},
                                       KeptEntry{"service", LogLevel::notice, ""},
                                       KeptEntry{"service", LogLevel::notice, "Lüfter läuft"}));
}

TYPED_TEST_P(SystemLogConformance, KeepsBothLevelsByDefault) {
    const auto log = this->harness.makeLog("service");
    EXPECT_TRUE(log->isEnabled(LogLevel::error));
    EXPECT_TRUE(log->isEnabled(LogLevel::notice));
}

TYPED_TEST_P(SystemLogConformance, ReportsADisabledLevel) {
    if (!this->harness.canDisable())
        GTEST_SKIP() << "this system keeps every level";
    const auto log = this->harness.makeLog("service");
    this->harness.disable(LogLevel::notice);
    EXPECT_FALSE(log->isEnabled(LogLevel::notice));
    EXPECT_TRUE(log->isEnabled(LogLevel::error));
}

TYPED_TEST_P(SystemLogConformance, SeveralThreadsMayWrite) {
    const auto log = this->harness.makeLog("service");
    std::vector<std::thread> writers;
    for (int i = 0; i < 4; ++i)
        writers.emplace_back([&] {
            for (int k = 0; k < 25; ++k)
                log->write(LogLevel::notice, "a message");
        });
    for (auto& writer : writers)
        writer.join();
    EXPECT_THAT(
        this->harness.entries(),
        ::testing::AllOf(::testing::SizeIs(100), ::testing::Each(KeptEntry{"service", LogLevel::notice, "a message"})));
}

REGISTER_TYPED_TEST_SUITE_P(SystemLogConformance, KeepsMessagesWithTheirCategoryAndLevel, KeepsMessagesUnchanged,
                            KeepsBothLevelsByDefault, ReportsADisabledLevel, SeveralThreadsMayWrite);

} // namespace kelo
