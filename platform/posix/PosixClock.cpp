#include "platform/posix/PosixClock.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

namespace kelo {

namespace {

// POSIX lets usleep refuse a million microseconds and more.
constexpr double longestNap = 0.5;

// Each stands still while the machine sleeps. macOS's other clocks that never go back run on, also the one behind
// std::chrono::steady_clock.
#ifdef __APPLE__
constexpr clockid_t timeAwake = CLOCK_UPTIME_RAW;
#else
constexpr clockid_t timeAwake = CLOCK_MONOTONIC;
#endif

} // namespace

double PosixClock::now() {
    timespec time{};
    clock_gettime(timeAwake, &time); // fails only for a clock that the system does not have
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void PosixClock::sleep(double seconds) {
    // By the clock, not by counting sleeps: a signal may cut one short, and each lasts a little longer than requested.
    const double end = now() + seconds;
    for (double left = seconds; left > 0; left = end - now())
        usleep(static_cast<useconds_t>(std::ceil(std::min(left, longestNap) * 1e6)));
}

} // namespace kelo
