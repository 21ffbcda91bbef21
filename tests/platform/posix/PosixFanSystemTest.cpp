#include "platform/posix/PosixFanSystem.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <limits>
#include <thread>

namespace kelo {
namespace {

class PosixFanSystemTest : public ::testing::Test {
protected:
    /// Seconds that sleeping for `seconds` takes.
    double timeToSleep(double seconds) {
        const double start = system.now();
        system.sleep(seconds);
        return system.now() - start;
    }

    PosixFanSystem system;
};

TEST_F(PosixFanSystemTest, TimeGoesOnWhileTheThreadSleeps) {
    const double start = system.now();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_GE(system.now() - start, 0.02);
    EXPECT_LT(system.now() - start, 5);
}

TEST_F(PosixFanSystemTest, SleepsAtLeastAsLongAsItWasAsked) {
    EXPECT_GE(timeToSleep(0.03), 0.03);
    EXPECT_GE(timeToSleep(0.6), 0.6); // longer than one nap
}

TEST_F(PosixFanSystemTest, SleepingForNoTimeReturnsAtOnce) {
    EXPECT_LT(timeToSleep(0), 1);
    EXPECT_LT(timeToSleep(-5), 1);
    EXPECT_LT(timeToSleep(std::numeric_limits<double>::quiet_NaN()), 1);
}

TEST_F(PosixFanSystemTest, ASignalDoesNotCutTheSleepShort) {
    const auto previous = std::signal(SIGUSR1, [](int) {});
    const auto sleeper = pthread_self();
    std::thread disturber([sleeper] {
        for (int i = 0; i < 5; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            pthread_kill(sleeper, SIGUSR1);
        }
    });
    EXPECT_GE(timeToSleep(0.15), 0.15);
    disturber.join();
    std::signal(SIGUSR1, previous);
}

TEST_F(PosixFanSystemTest, RootIsWhoeverActsAsUserZero) { EXPECT_EQ(system.isRoot(), geteuid() == 0); }

} // namespace
} // namespace kelo
