#include <csignal>
#include <dispatch/dispatch.h>
#include <string>
#include <vector>

#include "platform/macos/CFReference.h"
#include "tests/platform/macos/conformance/SystemUnderTest.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> noted;

void note(void* text) { noted.emplace_back(static_cast<const char*>(text)); }

dispatch_queue_t mainQueue() { return dispatch_get_main_queue(); }

/// Tests the behaviour of libdispatch and the main run loop on which the macOS sources and their tests rely. The test
/// doubles behave in the same way.
class RunLoopFacts : public ::testing::Test {
protected:
    RunLoopFacts() { noted.clear(); }

    static constexpr double unit = 0.2 * SystemUnderTest::unit;

    static void post(const char* text) { dispatch_async_f(mainQueue(), const_cast<char*>(text), note); }
    static void run(double units) { runMainLoop(units * unit); }
    static void block(double units) { SystemUnderTest::block(units * unit); }

    /// Creates a timer that notes "timer", or "invalid timer" if it is no longer valid when it fires.
    static CFReference<CFRunLoopTimerRef> addTimer(double units, CFRunLoopTimerCallBack callback = noteTimer) {
        CFReference<CFRunLoopTimerRef> timer(CFRunLoopTimerCreate(
            kCFAllocatorDefault, CFAbsoluteTimeGetCurrent() + units * unit, 0, 0, 0, callback, nullptr));
        CFRunLoopAddTimer(CFRunLoopGetMain(), timer.get(), kCFRunLoopDefaultMode);
        return timer;
    }

    static void noteTimer(CFRunLoopTimerRef timer, void*) {
        noted.emplace_back(CFRunLoopTimerIsValid(timer) ? "timer" : "invalid timer");
    }

    /// Creates an inactive source that notes `name` for each signal.
    static dispatch_source_t makeSource(const char* name) {
        const auto source = dispatch_source_create(DISPATCH_SOURCE_TYPE_SIGNAL, SIGUSR1, 0, mainQueue());
        dispatch_set_context(source, const_cast<char*>(name));
        dispatch_source_set_event_handler_f(source, note);
        return source;
    }

    static void end(dispatch_source_t source) {
        dispatch_source_cancel(source);
        dispatch_release(source);
    }

    void sendSignal() {
        SystemUnderTest::sendSignal(SIGUSR1);
        run(1);
    }

private:
    SystemUnderTest system_;
};

TEST_F(RunLoopFacts, TheRunEndsAfterThePassThatExceedsItsLimit) {
    dispatch_async_f(mainQueue(), nullptr, [](void*) {
        post("later");
        block(2);
        noted.emplace_back("exceeds the limit");
    });
    post("waited");
    run(1);
    EXPECT_THAT(noted, ElementsAre("exceeds the limit", "waited"));
    run(1);
    EXPECT_THAT(noted, ElementsAre("exceeds the limit", "waited", "later"));
}

TEST_F(RunLoopFacts, AZeroLengthRunRunsOnlyBlocksQueuedBeforeIt) {
    dispatch_async_f(mainQueue(), nullptr, [](void*) { post("later"); });
    run(0);
    EXPECT_THAT(noted, IsEmpty());
    run(0);
    EXPECT_THAT(noted, ElementsAre("later"));
}

TEST_F(RunLoopFacts, ADueTimerRunsBeforeQueuedBlocks) {
    const auto timer = addTimer(0.5);
    post("block");
    block(1);
    post("block");
    run(1);
    EXPECT_THAT(noted, ElementsAre("timer", "block", "block"));
    EXPECT_FALSE(CFRunLoopTimerIsValid(timer.get()));
}

TEST_F(RunLoopFacts, ARunNestedInABlockRunsTimersButNoBlocks) {
    const auto timer = addTimer(0.5);
    dispatch_async_f(mainQueue(), nullptr, [](void*) {
        post("block");
        run(1);
        noted.emplace_back("end of the nested run");
    });
    run(2);
    EXPECT_THAT(noted, ElementsAre("timer", "end of the nested run", "block"));
}

TEST_F(RunLoopFacts, ARunNestedInATimerRunsBlocks) {
    const auto timer = addTimer(0.5, [](CFRunLoopTimerRef, void*) {
        post("block");
        run(1);
        noted.emplace_back("end of the nested run");
    });
    run(2);
    EXPECT_THAT(noted, ElementsAre("block", "end of the nested run"));
}

TEST_F(RunLoopFacts, TheRunEndsWhenItIsStopped) {
    post("block");
    dispatch_async_f(mainQueue(), nullptr, [](void*) { CFRunLoopStop(CFRunLoopGetMain()); });
    CFRunLoopRun();
    EXPECT_THAT(noted, ElementsAre("block"));
}

TEST_F(RunLoopFacts, ASourceIsRegisteredSomeTimeAfterItsActivation) {
    std::signal(SIGUSR1, SIG_IGN);
    const auto source = makeSource("signal");
    dispatch_source_set_registration_handler_f(source, [](void*) { noted.emplace_back("registered"); });
    dispatch_activate(source);
    EXPECT_THAT(noted, IsEmpty());
    run(1);
    sendSignal();
    EXPECT_THAT(noted, ElementsAre("registered", "signal"));
    end(source);
}

TEST_F(RunLoopFacts, ASourceCancelledBeforeItsRegistrationIsNotRegistered) {
    const auto source = makeSource("signal");
    dispatch_source_set_registration_handler_f(source, note);
    dispatch_activate(source);
    end(source);
    run(1);
    EXPECT_THAT(noted, IsEmpty());
}

TEST_F(RunLoopFacts, ASourceMayBeActivatedTwiceAndItsHandlerReplaced) {
    std::signal(SIGUSR1, SIG_IGN);
    const auto source = makeSource("signal");
    dispatch_activate(source);
    dispatch_activate(source);
    run(1);
    dispatch_source_set_event_handler_f(source, [](void*) { noted.emplace_back("the later handler"); });
    sendSignal();
    EXPECT_THAT(noted, ElementsAre("the later handler"));
    end(source);
}

TEST_F(RunLoopFacts, TheLaterOfTwoSourcesForASignalFiresFirst) {
    std::signal(SIGUSR1, SIG_IGN);
    const auto first = makeSource("first");
    const auto second = makeSource("second");
    dispatch_activate(first);
    run(1);
    dispatch_activate(second);
    run(1);
    sendSignal();
    EXPECT_THAT(noted, ElementsAre("second", "first"));
    end(first);
    end(second);
}

TEST_F(RunLoopFacts, ASourceReleasedWithoutACancellationIsSilent) {
    std::signal(SIGUSR1, SIG_IGN);
    const auto source = makeSource("signal");
    dispatch_activate(source);
    run(1);
    dispatch_release(source);
    run(1);
    sendSignal();
    EXPECT_THAT(noted, IsEmpty());
}

TEST_F(RunLoopFacts, ReleasingAnInactiveSourceEndsTheProcess) {
    const auto source = makeSource("signal");
    SystemUnderTest::expectDeath([&] { dispatch_release(source); });
    if (SystemUnderTest::isReal) { // another process has died
        dispatch_activate(source);
        end(source);
    }
}

} // namespace
} // namespace kelo
