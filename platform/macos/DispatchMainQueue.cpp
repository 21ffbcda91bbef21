#include "platform/macos/DispatchMainQueue.h"

#include <dispatch/dispatch.h>

#include <mutex>
#include <utility>

#include "platform/macos/Duration.h"
#include "platform/macos/RunLoopTimer.h"
#include "platform/posix/Containment.h"

namespace kelo {

namespace {

/// Runs and deletes the heap-allocated task `context`. Each submission has a separate task and runs exactly once.
void run(void* context) {
    const std::unique_ptr<MainQueue::Task> task(static_cast<MainQueue::Task*>(context));
    contain("a task of the main queue", *task);
}

} // namespace

/// Keeps the posted tasks in order. Submits each task to the system only after the previous task has ended.
class DispatchMainQueue::Backlog : public std::enable_shared_from_this<Backlog> {
public:
    void add(Tasks tasks) noexcept {
        const std::lock_guard lock(mutex_);
        const bool wasEmpty = tasks_.empty();
        tasks_.splice(tasks_.end(), tasks);
        if (!wasEmpty || tasks_.empty())
            return; // the first task is already submitted
        self_ = shared_from_this();
        submit();
    }

    /// Runs `task` now, or after the queued tasks if there are any. Main thread only.
    void runAfterBacklog(Task task) {
        {
            const std::lock_guard lock(mutex_);
            if (!tasks_.empty())
                return tasks_.push_back(std::move(task));
        }
        task();
    }

private:
    void submit() { dispatch_async_f(dispatch_get_main_queue(), this, runNext); }

    static void runNext(void* context) {
        auto& backlog = *static_cast<Backlog*>(context);
        contain("a task of the main queue", backlog.first());
        const auto alive = backlog.removeFirst();
        if (!alive)
            backlog.submit();
    }

    Task first() {
        const std::lock_guard lock(mutex_);
        return std::exchange(tasks_.front(), nullptr); // stays in the list as a placeholder while it runs
    }

    /// Removes the task that has ended. If no task is left, returns the reference that has kept this object alive.
    std::shared_ptr<Backlog> removeFirst() {
        const std::lock_guard lock(mutex_);
        tasks_.pop_front();
        return tasks_.empty() ? std::move(self_) : nullptr;
    }

    std::mutex mutex_; ///< Guards the members below.
    Tasks tasks_;
    /// Keeps this object alive while a task is submitted, since the task may run after the queue has been destroyed.
    std::shared_ptr<Backlog> self_;
};

DispatchMainQueue::DispatchMainQueue() : backlog_(std::make_shared<Backlog>()) {}

DispatchMainQueue::~DispatchMainQueue() = default;

void DispatchMainQueue::postPrepared(Tasks tasks) noexcept { backlog_->add(std::move(tasks)); }

void DispatchMainQueue::postAfter(double seconds, Task task) {
    if (!(seconds > 0)) // the task must not overtake queued tasks
        return post(std::move(task));
    auto submitted = std::make_unique<Task>(std::move(task));
    dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, nanoseconds(seconds)), dispatch_get_main_queue(),
                     submitted.release(), run);
}

std::unique_ptr<Timer> DispatchMainQueue::scheduleTimer(double interval, bool repeats, Task onFire) {
    return std::make_unique<RunLoopTimer>(interval, repeats, std::move(onFire), [backlog = backlog_](Task task) {
        backlog->runAfterBacklog(std::move(task));
    });
}

bool DispatchMainQueue::isCurrent() const { return std::this_thread::get_id() == mainThread_; }

} // namespace kelo
