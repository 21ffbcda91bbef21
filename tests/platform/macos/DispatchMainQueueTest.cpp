#include "platform/macos/DispatchMainQueue.h"

#include <dispatch/dispatch.h>

#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/macos/Duration.h"
#include "platform/macos/RunLoopTimer.h"
#include "tests/platform/macos/doubles/LogDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"

namespace kelo {
namespace {

using doubles::journal;
using doubles::logEntries;
using doubles::mainLoop;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(Duration, ConvertsSecondsToNanosecondsWithinTheSystemsRange) {
    EXPECT_EQ(nanoseconds(0), 0);
    EXPECT_EQ(nanoseconds(0.3), 300'000'000);
    EXPECT_EQ(nanoseconds(2), 2'000'000'000);
    EXPECT_EQ(nanoseconds(-1), 0);
    EXPECT_EQ(nanoseconds(notANumber), 0);
    EXPECT_EQ(nanoseconds(infinity), 9'200'000'000'000'000'000);
    EXPECT_EQ(nanoseconds(1e300), nanoseconds(infinity));
}

class DispatchMainQueueTest : public doubles::OnDoubles {
protected:
    DispatchMainQueue queue;
    int runs = 0;
    MainQueue::Task count = [this] { ++runs; };
};

TEST_F(DispatchMainQueueTest, SubmitsTasksToTheMainDispatchQueue) {
    queue.post(count);
    queue.postAfter(0.3, count);
    EXPECT_THAT(journal().take(), ElementsAre("dispatch_async_f main", "dispatch_after_f main"));
    mainLoop().runFor(1);
    EXPECT_EQ(runs, 2);
}

TEST_F(DispatchMainQueueTest, RunsTasksInOrderOneSubmissionAtATime) {
    std::vector<int> order;
    for (const int number : {1, 2, 3})
        queue.post([&order, number] { order.push_back(number); });
    EXPECT_THAT(journal().take(), ElementsAre("dispatch_async_f main"));
    mainLoop().runFor(0);
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
    EXPECT_THAT(journal().take(), ElementsAre("dispatch_async_f main", "dispatch_async_f main"));
}

TEST_F(DispatchMainQueueTest, SystemEventsRunBetweenTwoTasks) {
    std::vector<std::string> order;
    const auto deliver = [](void* context) { static_cast<std::vector<std::string>*>(context)->push_back("signal"); };
    queue.post([&] {
        order.push_back("first");
        dispatch_async_f(dispatch_get_main_queue(), &order, deliver); // like a source's event
    });
    for (int i = 0; i < 3; ++i)
        queue.post([&] { order.push_back("later"); });
    mainLoop().runFor(0);
    EXPECT_THAT(order, ElementsAre("first", "signal", "later", "later", "later"));
}

TEST_F(DispatchMainQueueTest, ATaskMayPostAnotherAndOutliveTheQueue) {
    auto other = std::make_unique<DispatchMainQueue>();
    other->post([&] { other->post(count); });
    mainLoop().runFor(0);
    EXPECT_EQ(runs, 1);
    other->post(count);
    other.reset();
    mainLoop().runFor(0);
    EXPECT_EQ(runs, 2);
}

TEST_F(DispatchMainQueueTest, DelaysByAtMostATenthMoreThanRequested) {
    if (!doubles::isTimeVirtual)
        GTEST_SKIP() << "needs virtual time";
    queue.postAfter(0.3, count);
    mainLoop().runFor(0.2999);
    EXPECT_EQ(runs, 0);
    mainLoop().runFor(0.0302);
    EXPECT_EQ(runs, 1);
}

TEST_F(DispatchMainQueueTest, RunsATaskWithANegativeOrNaNDelayAtOnce) {
    queue.postAfter(-1, count);
    queue.postAfter(notANumber, count);
    mainLoop().runFor(0);
    EXPECT_EQ(runs, 2);
}

TEST_F(DispatchMainQueueTest, ReportsExceptionsFromTasksAndContinues) {
    queue.post([] { throw std::runtime_error("broken"); });
    queue.postAfter(0, [] { throw 17; });
    queue.post(count);
    mainLoop().runFor(0);
    EXPECT_EQ(runs, 1);
    ASSERT_THAT(logEntries(), SizeIs(2));
    EXPECT_EQ(logEntries()[0],
              (doubles::LogEntry{"app.kelo.helper", "platform", 0x11, "a task of the main queue: broken"}));
    EXPECT_EQ(logEntries()[1].text, "a task of the main queue: an unknown exception");
}

TEST_F(DispatchMainQueueTest, ReleasesATimerWithItsOwner) {
    auto once = queue.scheduleTimer(8, false, count);
    EXPECT_THAT(journal().take(), ElementsAre("CFRunLoopTimerCreate once", "CFRunLoopAddTimer main default"));
    EXPECT_EQ(journal().live("CFRunLoopTimer"), 1);
    once.reset();
    EXPECT_THAT(journal().take(), ElementsAre("CFRunLoopTimerInvalidate"));
    EXPECT_THAT(journal().live(), IsEmpty());
}

TEST_F(DispatchMainQueueTest, UsesAMinimumIntervalOfATenThousandthOfASecond) {
    if (!doubles::isTimeVirtual)
        GTEST_SKIP() << "needs virtual time";
    for (const double interval : {0.0, -1.0, notANumber}) {
        runs = 0;
        const auto timer = queue.scheduleTimer(interval, true, count);
        mainLoop().runFor(0.00035);
        EXPECT_EQ(runs, 3) << interval;
    }
}

TEST_F(DispatchMainQueueTest, ReleasesATimerThatHasFired) {
    auto once = queue.scheduleTimer(1, false, count);
    mainLoop().runFor(3);
    EXPECT_EQ(runs, 1);
    once.reset();
    EXPECT_THAT(journal().live(), IsEmpty());
}

TEST_F(DispatchMainQueueTest, ReportsExceptionsFromTimersAndContinues) {
    const auto timer = queue.scheduleTimer(1, true, [this] {
        ++runs;
        throw std::runtime_error("broken");
    });
    mainLoop().runFor(2.5);
    EXPECT_EQ(runs, 2);
    ASSERT_THAT(logEntries(), SizeIs(2));
    EXPECT_EQ(logEntries()[0].text, "a timer's handler: broken");
}

TEST_F(DispatchMainQueueTest, FiresATimerThatCannotBeQueued) {
    const auto refuse = [](const MainQueue::Task&) { throw std::bad_alloc(); };
    const RunLoopTimer once(1, false, count, refuse);
    mainLoop().runFor(3);
    EXPECT_EQ(runs, 1);
    const RunLoopTimer repeating(1, true, count, refuse);
    mainLoop().runFor(3.5);
    EXPECT_EQ(runs, 4);
    ASSERT_THAT(logEntries(), SizeIs(4));
    EXPECT_EQ(logEntries()[0].text, std::string("a timer: ") + std::bad_alloc().what());
}

} // namespace
} // namespace kelo
