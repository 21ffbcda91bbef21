#pragma once

#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

#include "helper/LogOutput.h"

namespace kelo {

/// Tests every output of log lines. The harness:
///
///     LogOutput& output();
///     std::string written();   // everything written so far
///     double wallClock();      // the true time, in seconds since 1970
template <typename Harness>
class LogOutputConformance : public ::testing::Test {
protected:
    LogOutput& output() { return harness.output(); }

    Harness harness;
};

TYPED_TEST_SUITE_P(LogOutputConformance);

TYPED_TEST_P(LogOutputConformance, WritesBytesUnchangedAndInOrder) {
    const std::string nul("a\0b", 3);
    this->output().writeStandardError("first\n");
    this->output().writeStandardError("100 % of %s\tLüfter\n");
    this->output().writeStandardError(nul);
    EXPECT_EQ(this->harness.written(), "first\n100 % of %s\tLüfter\n" + nul);
}

TYPED_TEST_P(LogOutputConformance, KeepsLinesFromSeveralThreadsIntact) {
    std::vector<std::thread> writers;
    for (const char letter : {'a', 'b', 'c', 'd'})
        writers.emplace_back([this, line = std::string(100, letter) + "\n"] {
            for (int i = 0; i < 25; ++i)
                this->output().writeStandardError(line);
        });
    for (auto& writer : writers)
        writer.join();
    const auto written = this->harness.written();
    ASSERT_EQ(written.size(), 4U * 25 * 101);
    for (std::size_t begin = 0; begin < written.size(); begin += 101)
        EXPECT_EQ(written.substr(begin, 101), std::string(100, written[begin]) + "\n");
}

TYPED_TEST_P(LogOutputConformance, ReturnsTheWallClockTime) {
    const double before = this->harness.wallClock();
    const double told = this->output().wallClock();
    EXPECT_GE(told, before);
    EXPECT_LE(told, this->harness.wallClock());
}

REGISTER_TYPED_TEST_SUITE_P(LogOutputConformance, WritesBytesUnchangedAndInOrder, KeepsLinesFromSeveralThreadsIntact,
                            ReturnsTheWallClockTime);

} // namespace kelo
