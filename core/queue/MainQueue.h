#pragma once

#include <functional>
#include <list>
#include <memory>
#include <utility>

namespace kelo {

/// A timer on the main queue. Destroying it invalidates it. Main thread only.
class Timer {
public:
    Timer() = default;
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    virtual ~Timer() = default;

    /// Prevents further calls of the handler. May be called from the handler, and more than once.
    virtual void invalidate() = 0;
};

/// The serial queue that owns all state: its tasks run on the main thread, one after another.
class MainQueue {
public:
    using Task = std::function<void()>;
    /// Tasks that have been allocated but not yet posted.
    using Tasks = std::list<Task>;

    MainQueue() = default;
    MainQueue(const MainQueue&) = delete;
    MainQueue& operator=(const MainQueue&) = delete;
    virtual ~MainQueue() = default;

    /// Runs `task` on the main thread, after everything posted before it. Returns at once. Any thread.
    void post(Task task) {
        Tasks one;
        one.push_back(std::move(task));
        postPrepared(std::move(one));
    }

    /// Posts `tasks` in order. Does not allocate, so that tasks prepared in advance can be posted after memory has run
    /// out. Any thread.
    virtual void postPrepared(Tasks tasks) noexcept = 0;

    /// Runs `task` on the main thread after `seconds`. If the delay is not positive, works like `post`. Returns at
    /// once. Cannot be cancelled. Any thread.
    virtual void postAfter(double seconds, Task task) = 0;

    /// Runs `onFire` on the main thread after `interval` seconds and, if `repeats`, every `interval` seconds from then
    /// on. If a repeating timer misses several due times, it fires once and then keeps its schedule. A timer that
    /// becomes due while the main thread is busy runs after the tasks that are already queued, so that a deadline does
    /// not overtake an event that arrived in time. Main thread only.
    [[nodiscard]] virtual std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) = 0;

    /// Whether the calling thread is the main thread; for assertions.
    virtual bool isCurrent() const = 0;
};

} // namespace kelo
