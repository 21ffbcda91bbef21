#include "platform/macos/DispatchMainQueue.h"

#include <dispatch/dispatch.h>

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

void DispatchMainQueue::post(Task task) {
    auto submitted = std::make_unique<Task>(std::move(task));
    dispatch_async_f(dispatch_get_main_queue(), submitted.release(), run);
}

void DispatchMainQueue::postAfter(double seconds, Task task) {
    auto submitted = std::make_unique<Task>(std::move(task));
    dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, nanoseconds(seconds)), dispatch_get_main_queue(),
                     submitted.release(), run);
}

std::unique_ptr<Timer> DispatchMainQueue::scheduleTimer(double interval, bool repeats, Task onFire) {
    return std::make_unique<RunLoopTimer>(interval, repeats, std::move(onFire));
}

bool DispatchMainQueue::isCurrent() const { return std::this_thread::get_id() == mainThread_; }

} // namespace kelo
