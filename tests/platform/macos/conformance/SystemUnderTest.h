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

/// Runs the main run loop for `seconds`: to a limit of its own, since a delayed task that stopped it might come late.
inline void runMainLoop(double seconds) { CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, false); }

/// What the conformance harnesses run on: the real libdispatch and run loop in real time, or their doubles in virtual
/// time. Everything else that they need of a Mac is a double elsewhere.
struct SystemUnderTest {
#ifdef KELO_REAL_TIME
    static constexpr bool isReal = true;
    ~SystemUnderTest() { runMainLoop(0.1 * unit); } // a task must not leak into the next test

    // A hosted machine may be held up for long, and what is delayed may come a tenth later than asked for.
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
    /// To the process: no dispatch source sees a signal that is sent to one thread.
    static void sendSignal(int signal) { ::kill(getpid(), signal); }
#else
    static void sendSignal(int signal) { doubles::arriveSignal(signal); }

private:
    doubles::DoublesScope scope_;
#endif
};

} // namespace kelo
