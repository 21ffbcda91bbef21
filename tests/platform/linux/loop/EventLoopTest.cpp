#include "platform/linux/loop/EventLoop.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/linux/loop/SignalfdSignals.h"
#include "testing/CodeOf.h"
#include "testing/DescriptorLimit.h"
#include "testing/FailingMemory.h"
#include "testing/TemporaryFolder.h"
#include "testing/VirtualLoopTime.h"
#include "tests/platform/posix/Ends.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;

// The conformance suite tests the general behaviour of main queues in virtual time. These tests cover additional
// behaviour of the event loop, most of it in real time.

class EventLoopTest : public ::testing::Test {
protected:
    EventLoopTest() {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
        near = FileDescriptor(ends[0]);
        far = FileDescriptor(ends[1]);
    }

    /// Runs the loop until `stop` is called. Fails the test after `seconds`.
    void run(double seconds = 5) {
        loop.postAfter(seconds, [this] {
            ADD_FAILURE() << "nothing stopped the loop";
            loop.stop();
        });
        loop.run();
    }
    void write(const FileDescriptor& end) { EXPECT_EQ(::write(end.get(), "x", 1), 1); }
    void read(const FileDescriptor& end) {
        char byte = 0;
        EXPECT_EQ(::read(end.get(), &byte, 1), 1);
    }

    EventLoop loop;
    FileDescriptor near;
    FileDescriptor far;
    std::vector<int> trace;
};

TEST_F(EventLoopTest, RunsPendingWorkWithoutMemory) {
    const std::array<int, 16> large{}; // copying a handler that captures this allocates memory
    std::array<int, 4> runs{};
    SignalfdSignals signals(loop);
    const auto signal = signals.deliver(SIGUSR1, [&runs, large] { runs[0] += 1 + large[0]; });
    const auto watch = loop.watch(near.get(), EventLoop::Readiness::readable, [this, &runs, large] {
        read(near);
        runs[1] += 1 + large[0];
    });
    const auto timer = loop.scheduleTimer(0.01, true, [&runs, large] { runs[2] += 1 + large[0]; });
    MainQueue::Tasks made;
    made.emplace_back([&runs, large] { runs[3] += 1 + large[0]; });
    loop.postAfter(0.2, [this] {
        const CodeOf test(CodeOf::Owner::test);
        loop.stop();
    });
    write(far);
    raise(SIGUSR1);
    {
        const CodeOf product(CodeOf::Owner::daemon);
        FailingMemory::beginCounting();
        FailingMemory::inject({0, true});
        loop.postPrepared(std::move(made));
        loop.run();
        EXPECT_EQ(FailingMemory::endCounting(), 0);
    }
    EXPECT_THAT(runs, ElementsAre(1, 1, ::testing::Gt(1), 1));
}

TEST_F(EventLoopTest, TasksFromOtherThreadsRunOnTheLoopsThread) {
    int count = 0;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] {
            for (int i = 0; i < 100; ++i)
                loop.post([&] {
                    EXPECT_TRUE(loop.isCurrent());
                    if (++count == 400)
                        loop.stop();
                });
        });
    run();
    EXPECT_EQ(count, 400);
}

TEST_F(EventLoopTest, BelongsToTheThreadThatRunsIt) {
    std::jthread([this] {
        EXPECT_FALSE(loop.isCurrent());
        loop.post([this] { EXPECT_TRUE(loop.isCurrent()); });
        loop.stop();
        loop.run();
    }).join();
    EXPECT_FALSE(loop.isCurrent());
}

TEST_F(EventLoopTest, AReadyDescriptorIsServedUntilItsWatchEnds) {
    std::unique_ptr<DescriptorWatch> watch;
    watch = loop.watch(near.get(), EventLoop::Readiness::readable, [&] {
        read(near);
        trace.push_back(1);
        if (trace.size() == 2) {
            watch.reset(); // destroyed by its own handler
            write(far);
            loop.postAfter(0.02, [this] { loop.stop(); });
        }
    });
    write(far);
    write(far);
    run();
    EXPECT_THAT(trace, ElementsAre(1, 1));
}

TEST_F(EventLoopTest, IgnoresAPendingEventOfAnEndedWatch) {
    std::unique_ptr<DescriptorWatch> first;
    std::unique_ptr<DescriptorWatch> second;
    const auto endTheOther = [&](std::unique_ptr<DescriptorWatch>& other) {
        trace.push_back(1);
        other.reset();
        loop.stop();
    };
    first = loop.watch(near.get(), EventLoop::Readiness::readable, [&] { endTheOther(second); });
    second = loop.watch(far.get(), EventLoop::Readiness::readable, [&] { endTheOther(first); });
    write(near);
    write(far);
    run();
    EXPECT_EQ(trace.size(), 1U);
}

TEST_F(EventLoopTest, AWritableDescriptorIsServed) {
    const auto watch = loop.watch(near.get(), EventLoop::Readiness::writable, [this] { loop.stop(); });
    run();
}

TEST_F(EventLoopTest, ADescriptorCanBeWatchedForReadingAndWriting) {
    auto writable = loop.watch(near.get(), EventLoop::Readiness::writable, [this] { trace.push_back(1); });
    const auto readable = loop.watch(near.get(), EventLoop::Readiness::readable, [&] {
        read(near);
        trace.push_back(2);
        if (!writable)
            return loop.stop();
        writable.reset();
        trace.clear();
        write(far);
    });
    write(far);
    run();
    EXPECT_THAT(trace, ElementsAre(2));
}

TEST_F(EventLoopTest, SurvivesExceptionsFromTasksTimersAndHandlers) {
    const auto breaking = [this](int number) {
        trace.push_back(number);
        throw std::runtime_error("broken");
    };
    loop.post([&] { breaking(1); });
    loop.post([&] {
        trace.push_back(2);
        throw 2; // NOLINT: not a standard exception
    });
    int fired = 0;
    const auto timer = loop.scheduleTimer(0.001, true, [&] {
        if (++fired == 2)
            write(far);
        breaking(3);
    });
    const auto watch = loop.watch(near.get(), EventLoop::Readiness::readable, [&] {
        read(near);
        loop.stop();
        breaking(4);
    });
    run();
    for (const int once : {1, 2, 4})
        EXPECT_EQ(std::count(trace.begin(), trace.end(), once), 1) << once;
    EXPECT_GE(std::count(trace.begin(), trace.end(), 3), 2) << "a repeating timer goes on";
}

// --- timers, in virtual time

class TimersOfTheLoop : public ::testing::Test {
protected:
    /// Posts a task that runs for `seconds`.
    void postTask(const char* name, double seconds) {
        loop.post([=, this] {
            time.pass(std::chrono::duration_cast<LoopTime::Clock::duration>(std::chrono::duration<double>(seconds)));
            trace.emplace_back(name);
        });
    }
    std::unique_ptr<Timer> schedule(const char* name, double seconds) {
        return loop.scheduleTimer(seconds, true, [=, this] { trace.emplace_back(name); });
    }

    VirtualLoopTime time;
    EventLoop loop{time};
    std::vector<std::string> trace;
};

TEST_F(TimersOfTheLoop, ADueTimerRunsBeforeQueuedTasks) {
    const auto timer = schedule("tick", 2);
    for (const char* const task : {"a", "b", "c", "d"})
        postTask(task, 1);
    loop.stop();
    loop.run();
    EXPECT_THAT(trace, ElementsAre("a", "b", "tick", "c", "d", "tick"));
}

TEST_F(TimersOfTheLoop, ADueDelayedTaskRunsBeforeQueuedTasks) {
    loop.postAfter(1, [this] { trace.emplace_back("delayed"); });
    for (const char* const task : {"a", "b"})
        postTask(task, 1);
    loop.stop();
    loop.run();
    EXPECT_THAT(trace, ElementsAre("a", "delayed", "b"));
}

TEST_F(TimersOfTheLoop, ADueTimerRunsBeforeReadyDescriptors) {
    const auto ends = pipeEnds();
    ASSERT_EQ(write(ends.writing.get(), "x", 1), 1);
    const auto timer = schedule("tick", 1);
    const auto onReady = [this](const char* name) {
        return [=, this] {
            trace.emplace_back(name);
            time.pass(std::chrono::seconds(1));
            if (trace.size() > 1)
                loop.stop();
        };
    };
    const auto one = loop.watch(ends.reading.get(), EventLoop::Readiness::readable, onReady("readable"));
    const auto other = loop.watch(ends.writing.get(), EventLoop::Readiness::writable, onReady("writable"));
    loop.run();
    ASSERT_GE(trace.size(), 3U);
    EXPECT_EQ(trace[1], "tick");
}

TEST_F(TimersOfTheLoop, AOneShotTimerRunsAfterEarlierTasks) {
    const auto timer = loop.scheduleTimer(1, false, [this] { trace.emplace_back("once"); });
    for (const char* const task : {"a", "b", "c"})
        postTask(task, 1);
    loop.postAfter(4, [this] { loop.stop(); });
    loop.run();
    EXPECT_THAT(trace, ElementsAre("a", "b", "c", "once"));
}

TEST_F(TimersOfTheLoop, NoTimerFiresAfterTheLoopStops) {
    const auto timer = schedule("tick", 1);
    loop.stop();
    postTask("a", 1);
    postTask("b", 1);
    loop.run();
    EXPECT_THAT(trace, ElementsAre("a", "b"));
}

// --- watches that the kernel refuses

TEST_F(EventLoopTest, ARefusedWatchLeavesNothingBehind) {
    const TemporaryFolder folder;
    writeFile(folder / "file", "");
    const FileDescriptor file(open((folder / "file").c_str(), O_RDONLY | O_CLOEXEC)); // epoll refuses regular files
    EXPECT_THROW(static_cast<void>(loop.watch(file.get(), EventLoop::Readiness::readable, [] {})), std::system_error);

    ASSERT_EQ(dup2(near.get(), file.get()), file.get());
    write(far);
    const auto watch = loop.watch(file.get(), EventLoop::Readiness::readable, [this] { loop.stop(); });
    run();
}

TEST_F(EventLoopTest, ARefusedWatchDoesNotAffectTheOtherWatchOfItsDescriptor) {
    const int number = dup(near.get());
    const auto readable = loop.watch(number, EventLoop::Readiness::readable, [this] { loop.stop(); });
    close(number); // the kernel keeps watching, but rejects changes
    const auto held = std::make_shared<int>();
    EXPECT_THROW(static_cast<void>(loop.watch(number, EventLoop::Readiness::writable, [held] {})), std::system_error);
    EXPECT_EQ(held.use_count(), 1);
    write(far);
    run();
}

TEST_F(EventLoopTest, EndingOneOfTwoWatchesOfAClosedDescriptorDoesNotEndTheProcess) {
    const auto endOneOfTwo = [this] {
        const int number = dup(near.get());
        const auto readable = loop.watch(number, EventLoop::Readiness::readable, [] {});
        auto writable = loop.watch(number, EventLoop::Readiness::writable, [] {});
        close(number);
        writable.reset();
        std::_Exit(0);
    };
    EXPECT_EXIT(endOneOfTwo(), testing::ExitedWithCode(0), "");
}

// --- signals

class SignalsOfTheLoop : public EventLoopTest {
protected:
    SignalfdSignals signals{loop};
};

TEST_F(SignalsOfTheLoop, DeliversASignalThatWasPendingBeforeItsSourceExisted) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGUSR1);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    raise(SIGUSR1);
    const auto source = signals.deliver(SIGUSR1, [this] {
        trace.push_back(1);
        loop.stop();
    });
    run();
    EXPECT_THAT(trace, ElementsAre(1));
}

TEST_F(SignalsOfTheLoop, ASignalSourceNeedsNoDescriptor) {
    // Uses the objects once, because a sanitizer needs free descriptors when it first checks an object.
    static_cast<void>(signals.deliver(SIGUSR1, [] {}));
    std::unique_ptr<SignalSource> source;
    {
        const DescriptorLimit none;
        source = signals.deliver(SIGUSR1, [this] { loop.stop(); });
    }
    ASSERT_NE(source, nullptr);
    raise(SIGUSR1);
    run();
}

TEST_F(SignalsOfTheLoop, ASignalRunsBeforeQueuedTasks) {
    const auto source = signals.deliver(SIGUSR1, [this] { trace.push_back(0); });
    loop.post([this] {
        trace.push_back(1);
        raise(SIGUSR1);
    });
    loop.post([this] { trace.push_back(2); });
    loop.stop();
    run();
    EXPECT_THAT(trace, ElementsAre(1, 0, 2));
}

TEST_F(SignalsOfTheLoop, ASignalRunsBeforeDueTimers) {
    const auto source = signals.deliver(SIGUSR1, [this] { trace.push_back(0); });
    const auto first = loop.scheduleTimer(0.001, false, [this] {
        trace.push_back(1);
        raise(SIGUSR1);
    });
    const auto second = loop.scheduleTimer(0.002, false, [this] {
        trace.push_back(2);
        loop.stop();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(3)); // both are due
    run();
    EXPECT_THAT(trace, ElementsAre(1, 0, 2));
}

TEST_F(SignalsOfTheLoop, ASignalRunsBeforeReadyDescriptors) {
    const auto source = signals.deliver(SIGUSR1, [this] { trace.push_back(0); });
    const auto onReady = [this](const FileDescriptor& end) {
        read(end);
        trace.push_back(1);
        if (trace.size() == 1)
            raise(SIGUSR1);
        else
            loop.stop();
    };
    const auto one = loop.watch(near.get(), EventLoop::Readiness::readable, [&] { onReady(near); });
    const auto other = loop.watch(far.get(), EventLoop::Readiness::readable, [&] { onReady(far); });
    write(near);
    write(far);
    run();
    EXPECT_THAT(trace, ElementsAre(1, 0, 1));
}

TEST_F(SignalsOfTheLoop, ASignalHandlerMayEndPendingTimersAndWatches) {
    std::unique_ptr<Timer> timer;
    std::unique_ptr<DescriptorWatch> watch;
    const auto source = signals.deliver(SIGUSR1, [&] {
        trace.push_back(0);
        timer.reset();
        watch.reset();
    });
    timer = loop.scheduleTimer(0.001, false, [this] { trace.push_back(1); });
    watch = loop.watch(near.get(), EventLoop::Readiness::readable, [this] { trace.push_back(2); });
    write(far);
    std::this_thread::sleep_for(std::chrono::milliseconds(2)); // the timer is due
    loop.post([] { raise(SIGUSR1); });
    loop.postAfter(0.02, [this] { loop.stop(); });
    run();
    EXPECT_THAT(trace, ElementsAre(0));
}

} // namespace
} // namespace kelo
