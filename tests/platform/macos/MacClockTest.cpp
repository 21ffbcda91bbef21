// Tests PosixClock.cpp as compiled for a Mac, with test clocks in place of the system's clocks.

#include <gtest/gtest.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr clockid_t uptimeRaw = 8;

clockid_t clockRead = -1;

int readClock(clockid_t clock, timespec* time) {
    clockRead = clock;
    *time = {3, 500'000'000};
    return 0;
}

} // namespace

#define __APPLE__ 1
#define CLOCK_UPTIME_RAW uptimeRaw
#define clock_gettime readClock
#define PosixClock MacClock
#include "platform/posix/PosixClock.cpp" // NOLINT(bugprone-suspicious-include)

namespace kelo {
namespace {

TEST(MacClock, TheClockStopsWhileTheMacSleeps) {
    EXPECT_EQ(MacClock().now(), 3.5);
    EXPECT_EQ(clockRead, uptimeRaw) << "all other monotonic clocks count sleep";
}

} // namespace
} // namespace kelo
