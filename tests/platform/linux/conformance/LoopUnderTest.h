#pragma once

#include "platform/linux/loop/EventLoop.h"
#include "testing/VirtualLoopTime.h"

namespace kelo {

/// An event loop that runs in virtual time on the test's thread. Used by the harnesses of the conformance suites.
struct LoopUnderTest {
    void run(double seconds) {
        loop.postAfter(seconds, [this] { loop.stop(); });
        loop.run();
    }
    void block(double seconds) {
        time.pass(std::chrono::duration_cast<LoopTime::Clock::duration>(std::chrono::duration<double>(seconds)));
    }

    VirtualLoopTime time;
    EventLoop loop{time};
};

} // namespace kelo
