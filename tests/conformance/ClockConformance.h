#pragma once

#include <gtest/gtest.h>

#include <limits>

#include "core/fan/Clock.h"

namespace kelo {

/// Tests every clock. The harness:
///
///     Clock& clock();
template <typename Harness>
class ClockConformance : public ::testing::Test {
protected:
    Clock& clock() { return harness.clock(); }

    /// The time in seconds by which the clock advances during a sleep.
    double timeToSleep(double seconds) {
        const double start = clock().now();
        clock().sleep(seconds);
        return clock().now() - start;
    }

    Harness harness;
};

TYPED_TEST_SUITE_P(ClockConformance);

TYPED_TEST_P(ClockConformance, NeverGoesBack) {
    double last = this->clock().now();
    for (int i = 0; i < 1000; ++i) {
        const double now = this->clock().now();
        EXPECT_GE(now, last);
        last = now;
    }
}

TYPED_TEST_P(ClockConformance, AdvancesByAtLeastTheTimeSlept) {
    EXPECT_GE(this->timeToSleep(0.01), 0.01);
    EXPECT_GE(this->timeToSleep(0.03), 0.03);
}

TYPED_TEST_P(ClockConformance, ZeroSleepTakesNoTime) {
    EXPECT_LT(this->timeToSleep(0), 1);
    EXPECT_LT(this->timeToSleep(-5), 1);
    EXPECT_GE(this->timeToSleep(-5), 0);
    EXPECT_LT(this->timeToSleep(std::numeric_limits<double>::quiet_NaN()), 1);
}

REGISTER_TYPED_TEST_SUITE_P(ClockConformance, NeverGoesBack, AdvancesByAtLeastTheTimeSlept, ZeroSleepTakesNoTime);

} // namespace kelo
