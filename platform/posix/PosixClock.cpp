#include "platform/posix/PosixClock.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

namespace kelo {

namespace {

// Less than a second, since POSIX allows usleep to reject a million microseconds or more.
constexpr double maximumSleep = 0.5;

// Both clocks stop while the machine sleeps. On macOS, the other monotonic clocks do not stop, including the clock that
// std::chrono::steady_clock uses.
#ifdef __APPLE__
constexpr clockid_t timeAwake = CLOCK_UPTIME_RAW;
#else
constexpr clockid_t timeAwake = CLOCK_MONOTONIC;
#endif

} // namespace

double PosixClock::now() {
    timespec time{};
    clock_gettime(timeAwake, &time); // fails only for a clock that the system lacks
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void PosixClock::sleep(double seconds) {
    // Checks the clock instead of adding up the sleeps: a signal may interrupt a sleep, and each sleep lasts slightly
    // too long.
    const double end = now() + seconds;
    for (double left = seconds; left > 0; left = end - now())
        usleep(static_cast<useconds_t>(std::ceil(std::min(left, maximumSleep) * 1e6)));
}

} // namespace kelo
