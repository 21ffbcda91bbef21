#include "platform/posix/PosixClock.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace kelo {

namespace {

// POSIX lets usleep refuse a million microseconds and more.
constexpr double longestNap = 0.5;

} // namespace

double PosixClock::now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void PosixClock::sleep(double seconds) {
    // By the clock, not by counting sleeps: a signal may cut one short, and each lasts a little longer than requested.
    const double end = now() + seconds;
    for (double left = seconds; left > 0; left = end - now())
        usleep(static_cast<useconds_t>(std::ceil(std::min(left, longestNap) * 1e6)));
}

} // namespace kelo
