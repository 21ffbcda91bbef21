#include "platform/posix/PosixClock.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <thread>

#include "platform/posix/PosixRights.h"
#include "tests/conformance/ClockConformance.h"

namespace kelo {
namespace {

class PosixClockTest : public ::testing::Test {
protected:
    double timeToSleep(double seconds) {
        const double start = clock.now();
        clock.sleep(seconds);
        return clock.now() - start;
    }

    PosixClock clock;
};

TEST_F(PosixClockTest, AgreesWithTheSteadyClockDuringASleep) {
    using Elsewhere = std::chrono::steady_clock;
    const auto seconds = [](Elsewhere::duration time) { return std::chrono::duration<double>(time).count(); };
    const auto beforeStart = Elsewhere::now();
    const double start = clock.now();
    const auto afterStart = Elsewhere::now();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const auto beforeEnd = Elsewhere::now();
    const double passed = clock.now() - start;
    const auto afterEnd = Elsewhere::now();
    constexpr double rounding = 1e-6;
    EXPECT_GE(passed, seconds(beforeEnd - afterStart) - rounding);
    EXPECT_LE(passed, seconds(afterEnd - beforeStart) + rounding);
}

TEST_F(PosixClockTest, SleepsLongerThanTheLimitOfOneSystemCall) { EXPECT_GE(timeToSleep(0.6), 0.6); }

TEST_F(PosixClockTest, SleepingTakesNoProcessorTime) {
    const auto before = std::clock();
    clock.sleep(0.1);
    EXPECT_LT(static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC, 0.005);
}

TEST_F(PosixClockTest, ASignalDoesNotCutTheSleepShort) {
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

TEST(PosixRights, RootIsEffectiveUserZero) { EXPECT_EQ(PosixRights().isRoot(), geteuid() == 0); }

class PosixClockHarness {
public:
    Clock& clock() { return clock_; }

private:
    PosixClock clock_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Posix, ClockConformance, PosixClockHarness);

} // namespace
} // namespace kelo
