#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <chrono>
#include <thread>

#include "platform/macos/DispatchMainQueue.h"

#ifndef __APPLE__
#include "tests/platform/macos/doubles/OnDoubles.h"
#endif

namespace kelo {

/// What the harnesses of the conformance suites stand on: on a Mac the real system and real time, elsewhere the doubles
/// and virtual time.
#ifdef __APPLE__
struct SystemUnderTest {
    // A hosted Mac may be held up for long, and what is delayed may come a tenth later than asked for.
    static constexpr double unit = 1;
    static void block(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }
};
#else
struct SystemUnderTest {
    static constexpr double unit = 1;
    static void block(double seconds) { doubles::mainLoop().block(seconds); }

private:
    doubles::DoublesScope scope_;
};
#endif

/// Runs the main run loop for `seconds`: to a limit of its own, since a delayed task that stopped it might come late.
inline void runMainLoop(double seconds) { CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, false); }

} // namespace kelo
