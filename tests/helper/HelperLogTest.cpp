#include "helper/HelperLog.h"

#include <gmock/gmock.h>

#include <regex>
#include <thread>

#include "tests/support/RecordingLog.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class HelperLogTest : public ::testing::Test {
protected:
    HelperLogTest() { output.time = 1'794'794'586; } // 2026-11-16T02:03:06Z

    RecordingOutput output;
    std::shared_ptr<RecordingSystemLog> system = std::make_shared<RecordingSystemLog>();
    HelperLog log{system, "listener", output};
};

TEST_F(HelperLogTest, ANoticeIsOneLineInOneWrite) {
    log.notice("Asked to stop.");
    EXPECT_THAT(output.writes(), ElementsAre("2026-11-16T02:03:06Z [NOTICE] listener: Asked to stop.\n"));
}

TEST_F(HelperLogTest, AnErrorSaysSo) {
    log.error("It broke.");
    EXPECT_THAT(output.writes(), ElementsAre("2026-11-16T02:03:06Z [ERROR] listener: It broke.\n"));
}

TEST_F(HelperLogTest, TheCategoryIsTheInstances) {
    const HelperLog service(system, "service", output);
    service.notice("hold: sleeping");
    EXPECT_THAT(output.writes(), ElementsAre("2026-11-16T02:03:06Z [NOTICE] service: hold: sleeping\n"));
}

TEST_F(HelperLogTest, AnEmptyMessageIsAFullLine) {
    log.notice("");
    EXPECT_THAT(output.writes(), ElementsAre("2026-11-16T02:03:06Z [NOTICE] listener: \n"));
}

TEST_F(HelperLogTest, WhateverTheMessageHoldsIsWrittenAsItIsInOneWrite) {
    const std::string long_(100'000, 'x');
    for (const std::string& message : {std::string("two\nlines\r\n\ttab"), std::string("nul\0inside", 10),
                                       std::string("%s%n {} \\ \""), std::string("\xFF\xFE"), long_}) {
        RecordingOutput fresh;
        fresh.time = output.time;
        HelperLog(system, "listener", fresh).notice(message);
        EXPECT_THAT(fresh.writes(), ElementsAre("2026-11-16T02:03:06Z [NOTICE] listener: " + message + "\n"));
    }
}

TEST_F(HelperLogTest, TheSystemLogGetsTheBareMessageAtItsLevel) {
    log.error("one");
    log.notice("two");
    EXPECT_THAT(system->entries, ElementsAre(Pair(LogLevel::error, "one"), Pair(LogLevel::notice, "two")));
}

TEST_F(HelperLogTest, ASilentSystemLogSilencesOnlyItsOwnEntries) {
    system->isErrorEnabled = false;
    log.error("one");
    log.notice("two");
    EXPECT_THAT(system->entries, ElementsAre(Pair(LogLevel::notice, "two")));
    EXPECT_EQ(output.writes().size(), 2U);
    system->isNoticeEnabled = false;
    log.notice("three");
    EXPECT_EQ(system->entries.size(), 1U);
    EXPECT_EQ(output.writes().size(), 3U);
}

TEST_F(HelperLogTest, CopiesLogToTheSamePlace) {
    const HelperLog copy = log; // NOLINT(performance-unnecessary-copy-initialization)
    copy.notice("hello");
    EXPECT_EQ(output.writes().size(), 1U);
    EXPECT_EQ(system->entries.size(), 1U);
}

TEST_F(HelperLogTest, TimesAreUTCToWholeSecondsRoundedDown) {
    const std::pair<double, const char*> times[] = {
        {0, "1970-01-01T00:00:00Z"},
        {0.999, "1970-01-01T00:00:00Z"},
        {-0.001, "1969-12-31T23:59:59Z"},
        {951'782'400, "2000-02-29T00:00:00Z"},
        {1'798'761'599.9999, "2026-12-31T23:59:59Z"},
        {4'102'444'800, "2100-01-01T00:00:00Z"},
    };
    for (const auto& [time, text] : times) {
        RecordingOutput fresh;
        fresh.time = time;
        HelperLog(system, "c", fresh).notice("m");
        EXPECT_THAT(fresh.writes(), ElementsAre(std::string(text) + " [NOTICE] c: m\n"));
    }
}

TEST_F(HelperLogTest, EightThreadsAtOnceWriteWholeLines) {
    std::vector<std::jthread> threads;
    struct NoLog : SystemLog {
        bool isEnabled(LogLevel) override { return true; }
        void write(LogLevel, const std::string&) override {}
    };
    const HelperLog shared(std::make_shared<NoLog>(), "service", output);
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([&shared, thread] {
            for (int i = 0; i < 200; ++i)
                shared.notice("thread " + std::to_string(thread) + " line " + std::to_string(i));
        });
    threads.clear();
    const std::regex whole("2026-11-16T02:03:06Z \\[NOTICE\\] service: thread [0-7] line [0-9]+\n");
    const auto writes = output.writes();
    EXPECT_EQ(writes.size(), 1600U);
    for (const auto& write : writes)
        EXPECT_TRUE(std::regex_match(write, whole)) << write;
}

} // namespace
} // namespace kelo
