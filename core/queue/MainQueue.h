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
    /// Allocated tasks that are not posted yet.
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

    /// Posts each of `tasks`. Does not allocate: work that must not fail when memory runs out is prepared in advance.
    /// Any thread.
    virtual void postPrepared(Tasks tasks) noexcept = 0;

    /// Runs `task` on the main thread in `seconds`, or like `post` if the delay is not positive. Returns at once.
    /// Cannot be cancelled. Any thread.
    virtual void postAfter(double seconds, Task task) = 0;

    /// Runs `onFire` on the main thread in `interval` seconds, and then every `interval` seconds if it repeats. A
    /// repeating timer that was delayed past several due times fires once and then keeps its schedule. A timer that
    /// becomes due while the main thread is busy runs after the tasks posted by then, so that a deadline does not
    /// overtake an event that came in time. Main thread only.
    [[nodiscard]] virtual std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) = 0;

    /// Whether the calling thread is the main thread; for assertions.
    virtual bool isCurrent() const = 0;
};

} // namespace kelo
