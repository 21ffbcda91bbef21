#include "tests/conformance/MainQueueConformance.h"

#include "tests/platform/macos/conformance/SystemUnderTest.h"

namespace kelo {
namespace {

class DispatchMainQueueHarness {
public:
    static constexpr double unit = SystemUnderTest::unit;
    MainQueue& queue() { return queue_; }
    void run(double seconds) { runMainLoop(seconds); }
    void block(double seconds) { SystemUnderTest::block(seconds); }

private:
    [[maybe_unused]] SystemUnderTest system_;
    DispatchMainQueue queue_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(MacOS, MainQueueConformance, DispatchMainQueueHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(MacOS, TimersBehindTasks, DispatchMainQueueHarness);

} // namespace
} // namespace kelo
