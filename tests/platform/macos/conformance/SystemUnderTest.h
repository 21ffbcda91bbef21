#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "platform/macos/DispatchMainQueue.h"

#if defined(__APPLE__) || defined(KELO_REAL_DISPATCH)
#define KELO_REAL_TIME
#include <unistd.h>
#endif
#ifndef __APPLE__
#include "tests/platform/macos/doubles/DispatchDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"
#endif

namespace kelo {

/// Runs the main run loop for `seconds`. Uses the time limit of the run loop, because a delayed task that stops the
/// loop could run late.
inline void runMainLoop(double seconds) { CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, false); }

/// The system on which the conformance harnesses run: the real libdispatch and run loop in real time, or their test
/// doubles in virtual time. On systems other than a Mac, all other parts are test doubles.
struct SystemUnderTest {
#ifdef KELO_REAL_TIME
    static constexpr bool isReal = true;
    ~SystemUnderTest() { runMainLoop(0.1 * unit); } // a task must not leak into the next test

    // Large, because hosted machines may stall for a while and a delayed task may take up to a tenth longer than
    // requested.
    static constexpr double unit = 1;
    static void block(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }
    template <typename Work>
    static void expectDeath(const Work& work) {
        EXPECT_DEATH(work(), "");
    }
#else
    static constexpr bool isReal = false;
    static constexpr double unit = 1;
    static void block(double seconds) { doubles::mainLoop().block(seconds); }
    template <typename Work>
    static void expectDeath(const Work& work) {
        work();
        EXPECT_THAT(doubles::journal().takeMisuses(), ::testing::Not(::testing::IsEmpty()));
    }
#endif

#ifdef __APPLE__
    /// Signals the process: dispatch sources do not see a signal sent to a single thread.
    static void sendSignal(int signal) { ::kill(getpid(), signal); }
#else
    static void sendSignal(int signal) { doubles::raiseSignal(signal); }

private:
    doubles::DoublesScope scope_;
#endif
};

} // namespace kelo
