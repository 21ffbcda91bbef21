#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "platform/macos/DispatchMainQueue.h"

#ifdef __APPLE__
#include <unistd.h>
#else
#include "tests/platform/macos/doubles/DispatchDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"
#endif

namespace kelo {

/// Runs the main run loop for `seconds`: to a limit of its own, since a delayed task that stopped it might come late.
inline void runMainLoop(double seconds) { CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, false); }

/// What the conformance harnesses run on: the real system in real time on a Mac, the doubles in virtual time elsewhere.
#ifdef __APPLE__
struct SystemUnderTest {
    ~SystemUnderTest() { runMainLoop(0.1 * unit); } // a task must not leak into the next test

    // A hosted Mac may be held up for long, and what is delayed may come a tenth later than asked for.
    static constexpr double unit = 1;
    static void block(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }
    /// To the process: no dispatch source sees a signal that is sent to one thread.
    static void sendSignal(int signal) { ::kill(getpid(), signal); }
    template <typename Work>
    static void expectDeath(const Work& work) {
        EXPECT_DEATH(work(), "");
    }
};
#else
struct SystemUnderTest {
    static constexpr double unit = 1;
    static void block(double seconds) { doubles::mainLoop().block(seconds); }
    static void sendSignal(int signal) { doubles::arriveSignal(signal); }
    template <typename Work>
    static void expectDeath(const Work& work) {
        work();
        EXPECT_THAT(doubles::journal().takeMisuses(), ::testing::Not(::testing::IsEmpty()));
    }

private:
    doubles::DoublesScope scope_;
};
#endif

} // namespace kelo
