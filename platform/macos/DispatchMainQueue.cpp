#include "platform/macos/DispatchMainQueue.h"

#include <dispatch/dispatch.h>

#include <deque>
#include <mutex>
#include <utility>

#include "platform/macos/Duration.h"
#include "platform/macos/RunLoopTimer.h"
#include "platform/posix/Containment.h"

namespace kelo {

namespace {

/// `context` is a task of its own on the heap: each submission runs exactly once.
void run(void* context) {
    const std::unique_ptr<MainQueue::Task> task(static_cast<MainQueue::Task*>(context));
    contain("a task of the main queue", *task);
}

} // namespace

/// The posted tasks in their order. Submits the run of the next one only when the one before has ended.
class DispatchMainQueue::Waiting : public std::enable_shared_from_this<Waiting> {
public:
    void add(Task task) {
        const std::lock_guard lock(mutex_);
        // Before the task is taken in: once the list is not empty, a run of its first is expected to be submitted.
        auto self = tasks_.empty() ? std::make_unique<Self>(shared_from_this()) : nullptr;
        tasks_.push_back(std::move(task));
        if (self)
            submit(std::move(self));
    }

    /// Runs `task` at once, or, where others wait, after them. Main thread only.
    void runAfterWaiting(Task task) {
        {
            const std::lock_guard lock(mutex_);
            if (!tasks_.empty())
                return tasks_.push_back(std::move(task));
        }
        task();
    }

private:
    /// Keeps this alive while a run is submitted, which may happen when the queue's owner has gone.
    using Self = std::shared_ptr<Waiting>;

    static void submit(std::unique_ptr<Self> self) {
        dispatch_async_f(dispatch_get_main_queue(), self.release(), runNext);
    }

    static void runNext(void* context) {
        std::unique_ptr<Self> self(static_cast<Self*>(context));
        contain("a task of the main queue", (*self)->first());
        if ((*self)->removeFirst())
            submit(std::move(self));
    }

    Task first() {
        const std::lock_guard lock(mutex_);
        return std::exchange(tasks_.front(), nullptr); // its place stays taken while it runs
    }

    /// Returns whether there is a next one.
    bool removeFirst() {
        const std::lock_guard lock(mutex_);
        tasks_.pop_front();
        return !tasks_.empty();
    }

    std::mutex mutex_;
    std::deque<Task> tasks_;
};

DispatchMainQueue::DispatchMainQueue() : waiting_(std::make_shared<Waiting>()) {}

DispatchMainQueue::~DispatchMainQueue() = default;

void DispatchMainQueue::post(Task task) { waiting_->add(std::move(task)); }

void DispatchMainQueue::postAfter(double seconds, Task task) {
    if (!(seconds > 0)) // it must not overtake the tasks that wait
        return post(std::move(task));
    auto submitted = std::make_unique<Task>(std::move(task));
    dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, nanoseconds(seconds)), dispatch_get_main_queue(),
                     submitted.release(), run);
}

std::unique_ptr<Timer> DispatchMainQueue::scheduleTimer(double interval, bool repeats, Task onFire) {
    return std::make_unique<RunLoopTimer>(interval, repeats, std::move(onFire), [waiting = waiting_](Task task) {
        waiting->runAfterWaiting(std::move(task));
    });
}

bool DispatchMainQueue::isCurrent() const { return std::this_thread::get_id() == mainThread_; }

} // namespace kelo
