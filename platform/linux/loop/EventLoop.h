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

/// The clock and the waiting function of an event loop. `now` may be called on any thread.
class LoopTime {
public:
    using Clock = std::chrono::steady_clock;

    LoopTime() = default;
    LoopTime(const LoopTime&) = delete;
    LoopTime& operator=(const LoopTime&) = delete;
    virtual ~LoopTime() = default;

    virtual Clock::time_point now() const = 0;
    /// Waits like `epoll_wait`.
    virtual int wait(int epoll, epoll_event* events, int capacity, int milliseconds) = 0;

    /// Monotonic time, which stops while the machine sleeps.
    static LoopTime& real();
};

/// A watch on a descriptor. Once it is destroyed, its handler is not called again. Loop thread only.
class DescriptorWatch {
public:
    DescriptorWatch() = default;
    DescriptorWatch(const DescriptorWatch&) = delete;
    DescriptorWatch& operator=(const DescriptorWatch&) = delete;
    virtual ~DescriptorWatch() = default;
};

/// An event loop on epoll: runs posted tasks, timers and descriptor handlers on one thread.
///
/// Before each task and each descriptor handler, the loop serves urgent descriptors and any repeating timers and
/// delayed tasks that are due, so these wait only for the running task, not for queued ones. A one-shot timer is a
/// timeout, so tasks that were posted before it was due run first.
///
/// Reports exceptions from tasks and handlers to the system log and continues. Running posted tasks, timers and
/// handlers allocates nothing.
///
/// The loop belongs to the thread that created it and, once `run()` is called, to the thread that called `run()`.
/// `post`, `postAfter` and `stop` may be called on any thread.
class EventLoop : public MainQueue {
public:
    enum class Readiness { readable, writable };

    /// `time` is borrowed. Throws `std::system_error` if no descriptor is left.
    explicit EventLoop(LoopTime& time = LoopTime::real());
    ~EventLoop() override;

    void postPrepared(Tasks tasks) noexcept override;
    void postAfter(double seconds, Task task) override;
    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override;
    bool isCurrent() const override { return owner_ == std::this_thread::get_id(); }

    /// Calls `onReady` whenever the descriptor is ready or has failed. `descriptor` is borrowed and must stay open for
    /// the lifetime of the watch. If `watch` throws `std::system_error`, nothing has changed.
    [[nodiscard]] std::unique_ptr<DescriptorWatch> watch(int descriptor, Readiness readiness, Task onReady);

    /// Like `watch` for reading, but urgent: the loop serves the descriptor before each task, timer and other handler.
    [[nodiscard]] std::unique_ptr<DescriptorWatch> watchUrgent(int descriptor, Task onReadable);

    /// Runs until `stop` is called, including every task that was posted before that call. May be called repeatedly.
    void run();
    void stop();

private:
    using Clock = LoopTime::Clock;

    struct TimerState {
        Clock::time_point due;
        Clock::duration interval;
        bool repeats;
        bool waitsForTasks;                 ///< Runs after tasks that were posted before it was due.
        std::shared_ptr<const Task> onFire; ///< Null once invalidated or spent.
    };
    using Timers = std::multimap<Clock::time_point, std::shared_ptr<TimerState>>;
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
    bool updateEpoll(int operation, const Interests::value_type& interest);
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

    // Loop thread only.
    bool isStopped_ = false;
    Timers timers_;
    Interests interests_; ///< Keyed by an ID that is never reused, so that a stale event matches no interest.
    std::vector<std::uint64_t> urgent_; ///< IDs of the interests that are polled before everything else.
    std::vector<pollfd> urgentPolls_;   ///< The poll entries of `urgent_`, in the same order.
    std::uint64_t nextInterestID_ = 1;  ///< 0 identifies the wake-up descriptor.
};

} // namespace kelo
