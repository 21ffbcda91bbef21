#pragma once

#include <poll.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "core/queue/MainQueue.h"
#include "platform/posix/FileDescriptor.h"

struct epoll_event;

namespace kelo {

/// An event loop's clock, and its waiting. The time may be read from any thread.
class LoopTime {
public:
    using Clock = std::chrono::steady_clock;

    LoopTime() = default;
    LoopTime(const LoopTime&) = delete;
    LoopTime& operator=(const LoopTime&) = delete;
    virtual ~LoopTime() = default;

    virtual Clock::time_point now() const = 0;
    /// As `epoll_wait`.
    virtual int wait(int epoll, epoll_event* events, int capacity, int milliseconds) = 0;

    /// Monotonic time, which stands still while the machine sleeps.
    static LoopTime& real();
};

/// A watch on a descriptor. Destroying it ends it: its handler is not called again. Used on the loop's thread only.
class DescriptorWatch {
public:
    DescriptorWatch() = default;
    DescriptorWatch(const DescriptorWatch&) = delete;
    DescriptorWatch& operator=(const DescriptorWatch&) = delete;
    virtual ~DescriptorWatch() = default;
};

/// An event loop on the kernel's own epoll: posted tasks, timers and descriptors, all served on one thread.
///
/// Repeating timers and delayed tasks that are due, and descriptors that are watched as urgent, are served before every
/// task and every handler of a descriptor: they wait for the one that is running, but not for those queued behind it. A
/// one-shot timer ends the wait for something, so the tasks that were posted before it was due come first.
///
/// What a task or a handler throws is reported to the system's log, and the loop goes on. What has been posted,
/// scheduled or watched is run without an allocation.
///
/// The loop belongs to the thread that made it, and from `run()` on to the one that runs it. `post`, `postAfter` and
/// `stop` may be called from any thread.
class EventLoop : public MainQueue {
public:
    enum class Readiness { readable, writable };

    /// `time` is borrowed. Throws `std::system_error` when the kernel gives no descriptors.
    explicit EventLoop(LoopTime& time = LoopTime::real());
    ~EventLoop() override;

    void postPrepared(Tasks tasks) noexcept override;
    void postAfter(double seconds, Task task) override;
    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override;
    bool isCurrent() const override { return owner_ == std::this_thread::get_id(); }

    /// Calls `onReady` whenever the descriptor is ready, or has failed. `descriptor` is borrowed and must stay open as
    /// long as the watch. Throws `std::system_error`, and then everything is as it was.
    [[nodiscard]] std::unique_ptr<DescriptorWatch> watch(int descriptor, Readiness readiness, Task onReady);

    /// As `watch` for reading, and urgent: before timers, too.
    [[nodiscard]] std::unique_ptr<DescriptorWatch> watchUrgent(int descriptor, Task onReadable);

    /// Serves until `stop`. Everything posted before the stop is run. May be run again.
    void run();
    void stop();

private:
    using Clock = LoopTime::Clock;

    struct TimerState {
        Clock::time_point due;
        Clock::duration interval;
        bool repeats;
        bool waitsForTasks;                 ///< For those that were posted before it was due.
        std::shared_ptr<const Task> onFire; ///< Null once invalidated or spent.
    };
    using Timers = std::multimap<Clock::time_point, std::shared_ptr<TimerState>>;
    /// What is wanted of one descriptor.
    struct Interest {
        int descriptor;
        std::shared_ptr<Task> onReadable;
        std::shared_ptr<Task> onWritable;

        std::shared_ptr<Task>& handler(Readiness readiness) {
            return readiness == Readiness::readable ? onReadable : onWritable;
        }
    };
    using Interests = std::map<std::uint64_t, Interest>;
    class LoopTimer;
    class Watch;

    void wakeUp();
    int timeoutMilliseconds();
    void runPosted();
    void fire(Timers::node_type entry);
    Interests::iterator interestIn(int descriptor);
    bool tellKernel(int operation, const Interests::value_type& interest);
    void unwatch(std::uint64_t interestID, Readiness readiness);
    void serveUrgent();
    void fireDueTimers(Clock::time_point now, bool all);
    void serveUrgentDescriptors();
    void dispatch(std::uint64_t interestID, Readiness readiness);
    void callHandler(std::uint64_t interestID, Readiness readiness);

    LoopTime& time_;
    FileDescriptor epoll_;
    FileDescriptor wake_;
    std::atomic<std::thread::id> owner_;

    std::mutex mutex_; ///< Guards `posted_`.
    Tasks posted_;

    // The loop's thread only.
    bool isStopped_ = false;
    Timers timers_;
    Interests interests_;               ///< By a number that is never reused, so that a stale event finds none.
    std::vector<std::uint64_t> urgent_; ///< Those to be polled before everything else.
    std::vector<pollfd> urgentPolls_;   ///< Of the same ones, in the same order.
    std::uint64_t nextInterestID_ = 1;  ///< 0 is the wake-up descriptor's.
};

} // namespace kelo
