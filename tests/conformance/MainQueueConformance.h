#pragma once

#include <gmock/gmock.h>

#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/queue/MainQueue.h"

namespace kelo {

/// Tests every main queue and its timers. The test's thread is the main thread. The harness:
///
///     static constexpr double unit;  // a time in seconds that the implementation can resolve; 1 in virtual time
///     MainQueue& queue();
///     void run(double seconds);      // runs the queue on the main thread for that time
///     void block(double seconds);    // blocks the main thread for that time
template <typename Harness>
class MainQueueConformance : public ::testing::Test {
protected:
    static constexpr double unit = Harness::unit;

    MainQueue& queue() { return harness.queue(); }
    void run(double units) { harness.run(units * unit); }

    MainQueue::Task note(const std::string& what) {
        return [this, what] { noted.push_back(what); };
    }

    std::unique_ptr<Timer> schedule(double units, bool repeats, MainQueue::Task onFire) {
        return queue().scheduleTimer(units * unit, repeats, std::move(onFire));
    }

    Harness harness;
    std::vector<std::string> noted;
};

TYPED_TEST_SUITE_P(MainQueueConformance);

// --- tasks

TYPED_TEST_P(MainQueueConformance, PostReturnsBeforeTheTaskRuns) {
    this->queue().post(this->note("task"));
    EXPECT_THAT(this->noted, ::testing::IsEmpty());
    this->run(0.5);
    EXPECT_THAT(this->noted, ::testing::ElementsAre("task"));
}

TYPED_TEST_P(MainQueueConformance, RunsEachTaskOnceInPostingOrder) {
    for (const char* const name : {"a", "b", "c", "d"})
        this->queue().post(this->note(name));
    this->run(0.5);
    this->run(0.5);
    EXPECT_THAT(this->noted, ::testing::ElementsAre("a", "b", "c", "d"));
}

TYPED_TEST_P(MainQueueConformance, ATaskPostedByATaskRunsAfterQueuedTasks) {
    this->queue().post([this] {
        this->queue().post(this->note("posted by the first"));
        this->noted.push_back("first");
    });
    this->queue().post(this->note("second"));
    this->run(0.5);
    EXPECT_THAT(this->noted, ::testing::ElementsAre("first", "second", "posted by the first"));
}

TYPED_TEST_P(MainQueueConformance, RunsTasksFromAnyThreadOnTheMainThread) {
    std::vector<std::thread::id> ranOn;
    const auto task = [&] { ranOn.push_back(std::this_thread::get_id()); };
    std::thread poster([&] {
        this->queue().post(task);
        this->queue().postAfter(TestFixture::unit, task);
    });
    poster.join();
    this->run(2);
    EXPECT_EQ(ranOn, std::vector(2, std::this_thread::get_id()));
}

TYPED_TEST_P(MainQueueConformance, KeepsTheOrderOfEachThreadsTasks) {
    constexpr int threads = 4;
    constexpr int each = 50;
    std::vector<std::vector<int>> ran(threads);
    std::vector<std::thread> posters;
    for (int thread = 0; thread < threads; ++thread)
        posters.emplace_back([&, thread] {
            for (int i = 0; i < each; ++i)
                this->queue().post([&ran, thread, i] { ran[static_cast<std::size_t>(thread)].push_back(i); });
        });
    for (auto& poster : posters)
        poster.join();
    this->run(1);
    for (const auto& order : ran) {
        EXPECT_EQ(order.size(), static_cast<std::size_t>(each));
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    }
}

TYPED_TEST_P(MainQueueConformance, ReleasesTheCapturesOfATaskThatHasRun) {
    const auto held = std::make_shared<int>();
    this->queue().post([held] {});
    this->queue().postAfter(TestFixture::unit, [held] {});
    EXPECT_EQ(held.use_count(), 3);
    this->run(2);
    EXPECT_EQ(held.use_count(), 1);
}

TYPED_TEST_P(MainQueueConformance, DistinguishesTheMainThreadFromOthers) {
    EXPECT_TRUE(this->queue().isCurrent());
    bool isCurrentElsewhere = true;
    std::thread other([&] { isCurrentElsewhere = this->queue().isCurrent(); });
    other.join();
    EXPECT_FALSE(isCurrentElsewhere);
}

// --- delayed tasks

TYPED_TEST_P(MainQueueConformance, ADelayedTaskRunsAfterItsDelay) {
    this->queue().postAfter(2 * TestFixture::unit, this->note("task"));
    this->run(1);
    EXPECT_THAT(this->noted, ::testing::IsEmpty());
    this->run(2);
    EXPECT_THAT(this->noted, ::testing::ElementsAre("task"));
}

TYPED_TEST_P(MainQueueConformance, DelayedTasksRunInOrderOfTheirDueTimes) {
    this->queue().postAfter(3 * TestFixture::unit, this->note("last"));
    this->queue().postAfter(1 * TestFixture::unit, this->note("first"));
    this->queue().postAfter(2 * TestFixture::unit, this->note("middle"));
    this->run(4);
    EXPECT_THAT(this->noted, ::testing::ElementsAre("first", "middle", "last"));
}

TYPED_TEST_P(MainQueueConformance, ZeroDelayRunsAfterQueuedTasks) {
    for (const double delay : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
        this->queue().post(this->note("first"));
        this->queue().post(this->note("second"));
        this->queue().postAfter(delay, this->note("delayed"));
        this->run(0.5);
        EXPECT_THAT(this->noted, ::testing::ElementsAre("first", "second", "delayed")) << delay;
        this->noted.clear();
    }
}

// --- timers

TYPED_TEST_P(MainQueueConformance, AOneShotTimerFiresOnce) {
    const auto timer = this->schedule(1, false, this->note("fired"));
    this->run(0.5);
    EXPECT_THAT(this->noted, ::testing::IsEmpty());
    this->run(4);
    EXPECT_THAT(this->noted, ::testing::ElementsAre("fired"));
}

TYPED_TEST_P(MainQueueConformance, ARepeatingTimerFiresEveryInterval) {
    const auto timer = this->schedule(1, true, this->note("fired"));
    this->run(3.5);
    EXPECT_THAT(this->noted, ::testing::ElementsAre("fired", "fired", "fired"));
}

TYPED_TEST_P(MainQueueConformance, ATimerFiresOnTheMainThread) {
    std::thread::id firedOn;
    const auto timer = this->schedule(1, false, [&] { firedOn = std::this_thread::get_id(); });
    this->run(2);
    EXPECT_EQ(firedOn, std::this_thread::get_id());
}

TYPED_TEST_P(MainQueueConformance, AnInvalidatedTimerDoesNotFire) {
    const auto once = this->schedule(1, false, this->note("once"));
    const auto repeating = this->schedule(1, true, this->note("repeating"));
    once->invalidate();
    repeating->invalidate();
    this->run(3);
    EXPECT_THAT(this->noted, ::testing::IsEmpty());
}

TYPED_TEST_P(MainQueueConformance, ATimerMayBeInvalidatedTwiceAndAfterFiring) {
    const auto timer = this->schedule(1, false, this->note("fired"));
    this->run(2);
    timer->invalidate();
    timer->invalidate();
    this->run(2);
    EXPECT_THAT(this->noted, ::testing::ElementsAre("fired"));
}

TYPED_TEST_P(MainQueueConformance, AHandlerMayInvalidateItsTimer) {
    std::unique_ptr<Timer> timer;
    timer = this->schedule(1, true, [&] {
        this->noted.push_back("fired");
        if (this->noted.size() == 2)
            timer->invalidate();
    });
    this->run(5);
    EXPECT_THAT(this->noted, ::testing::ElementsAre("fired", "fired"));
}

TYPED_TEST_P(MainQueueConformance, AHandlerMayDestroyItsTimer) {
    std::unique_ptr<Timer> timer;
    const auto held = std::make_shared<std::string>("what the handler holds is there to its end");
    timer = this->schedule(1, true, [&timer, held, this] {
        timer.reset();
        this->noted.push_back(*held);
    });
    this->run(3);
    EXPECT_THAT(this->noted, ::testing::ElementsAre(*held));
    EXPECT_EQ(held.use_count(), 1);
}

TYPED_TEST_P(MainQueueConformance, ADestroyedTimerDoesNotFireAndReleasesItsCaptures) {
    const auto held = std::make_shared<int>();
    auto timer = this->schedule(1, true, [held, this] { this->noted.push_back("fired"); });
    EXPECT_EQ(held.use_count(), 2);
    timer.reset();
    this->run(3);
    EXPECT_THAT(this->noted, ::testing::IsEmpty());
    EXPECT_EQ(held.use_count(), 1);
}

TYPED_TEST_P(MainQueueConformance, ATaskMayInvalidateADueTimer) {
    const auto timer = this->schedule(1, false, this->note("fired"));
    this->queue().postAfter(0.5 * TestFixture::unit, [&] {
        this->harness.block(2 * TestFixture::unit);
        timer->invalidate();
    });
    this->run(4);
    EXPECT_THAT(this->noted, ::testing::IsEmpty());
}

TYPED_TEST_P(MainQueueConformance, ALateRepeatingTimerFiresOnceAndKeepsItsSchedule) {
    const auto timer = this->schedule(1, true, this->note("fired"));
    this->harness.block(3.5 * TestFixture::unit);
    this->run(0.25);
    EXPECT_THAT(this->noted, ::testing::ElementsAre("fired")) << "for the three times that were missed";
    this->run(0.5); // includes the fourth due time
    EXPECT_THAT(this->noted, ::testing::ElementsAre("fired", "fired"));
}

TYPED_TEST_P(MainQueueConformance, SeveralTimersFireIndependently) {
    const auto slow = this->schedule(2, true, this->note("slow"));
    const auto fast = this->schedule(1.25, true, this->note("fast"));
    this->run(4.5);
    EXPECT_THAT(this->noted, ::testing::ElementsAre("fast", "slow", "fast", "fast", "slow"));
}

REGISTER_TYPED_TEST_SUITE_P(MainQueueConformance, PostReturnsBeforeTheTaskRuns, RunsEachTaskOnceInPostingOrder,
                            ATaskPostedByATaskRunsAfterQueuedTasks, RunsTasksFromAnyThreadOnTheMainThread,
                            KeepsTheOrderOfEachThreadsTasks, ReleasesTheCapturesOfATaskThatHasRun,
                            DistinguishesTheMainThreadFromOthers, ADelayedTaskRunsAfterItsDelay,
                            DelayedTasksRunInOrderOfTheirDueTimes, ZeroDelayRunsAfterQueuedTasks,
                            AOneShotTimerFiresOnce, ARepeatingTimerFiresEveryInterval, ATimerFiresOnTheMainThread,
                            AnInvalidatedTimerDoesNotFire, ATimerMayBeInvalidatedTwiceAndAfterFiring,
                            AHandlerMayInvalidateItsTimer, AHandlerMayDestroyItsTimer,
                            ADestroyedTimerDoesNotFireAndReleasesItsCaptures, ATaskMayInvalidateADueTimer,
                            ALateRepeatingTimerFiresOnceAndKeepsItsSchedule, SeveralTimersFireIndependently);

// --- timers that run behind queued tasks; not for a queue that serves timers between tasks

template <typename Harness>
class TimersBehindTasks : public MainQueueConformance<Harness> {};
TYPED_TEST_SUITE_P(TimersBehindTasks);

TYPED_TEST_P(TimersBehindTasks, ATimerDueDuringATaskFiresAfterQueuedTasks) {
    const auto once = this->schedule(1, false, this->note("once"));
    const auto repeating = this->schedule(1.5, true, this->note("repeating"));
    this->queue().post([this] {
        this->queue().post(this->note("posted before both"));
        this->harness.block(2 * TestFixture::unit);
    });
    this->run(2.25);
    EXPECT_THAT(this->noted, ::testing::ElementsAre("posted before both", "once", "repeating"));
}

TYPED_TEST_P(TimersBehindTasks, ALateRepeatingTimerFiresOnceForAllMissedTimes) {
    const auto timer = this->schedule(1, true, this->note("fired"));
    this->queue().post([this] { this->harness.block(2 * TestFixture::unit); });
    this->queue().post([this] { this->harness.block(1.5 * TestFixture::unit); });
    this->run(3.75);
    EXPECT_THAT(this->noted, ::testing::ElementsAre("fired"));
}

TYPED_TEST_P(TimersBehindTasks, AQueuedTaskMayInvalidateADueTimer) {
    const auto timer = this->schedule(1, false, this->note("fired"));
    this->queue().post([&] {
        this->queue().post([&] { timer->invalidate(); });
        this->harness.block(2 * TestFixture::unit);
    });
    this->run(3); // not 2: a run loop may stop after the task that uses up its time
    EXPECT_THAT(this->noted, ::testing::IsEmpty());
}

REGISTER_TYPED_TEST_SUITE_P(TimersBehindTasks, ATimerDueDuringATaskFiresAfterQueuedTasks,
                            ALateRepeatingTimerFiresOnceForAllMissedTimes, AQueuedTaskMayInvalidateADueTimer);

} // namespace kelo
