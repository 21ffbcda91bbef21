#pragma once

#include <functional>
#include <list>
#include <memory>
#include <utility>

namespace kelo {

/// A timer that runs on the main queue. Destroying it invalidates it: its handler does not run again. Used on the main
/// thread only.
class Timer {
public:
    Timer() = default;
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    virtual ~Timer() = default;

    /// Keeps the handler from running again. May be called from the handler itself and more than once.
    virtual void invalidate() = 0;
};

/// The one serial queue on which all state lives: everything that runs on it runs on the main thread, one after
/// another.
class MainQueue {
public:
    using Task = std::function<void()>;
    /// Tasks that have been made, but not posted yet.
    using Tasks = std::list<Task>;

    MainQueue() = default;
    MainQueue(const MainQueue&) = delete;
    MainQueue& operator=(const MainQueue&) = delete;
    virtual ~MainQueue() = default;

    /// Runs `task` on the main thread, after everything posted before it. Returns at once. Any thread.
    void post(Task task) {
        Tasks one;
        one.push_back(std::move(task));
        postMade(std::move(one));
    }

    /// As `post`, for each of `tasks`. Allocates nothing, so that what must happen can be made ready in time and cannot
    /// fail for lack of memory. Any thread.
    virtual void postMade(Tasks tasks) noexcept = 0;

    /// Runs `task` on the main thread in `seconds`; a delay that is not positive is as `post`. Returns at once. Cannot
    /// be cancelled. Any thread.
    virtual void postAfter(double seconds, Task task) = 0;

    /// Runs `onFire` on the main thread in `interval` seconds, and then every `interval` seconds if it repeats. A
    /// repeating timer that was delayed past several due times fires once and then keeps to its schedule. A timer that
    /// falls due while the main thread is busy runs after the tasks that had been posted by then: what happened in time
    /// is not overtaken by a deadline. Main thread only.
    [[nodiscard]] virtual std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) = 0;

    /// Whether the calling thread is the main thread: for assertions.
    virtual bool isCurrent() const = 0;
};

} // namespace kelo
