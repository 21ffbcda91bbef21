#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <functional>
#include <memory>

#include "core/queue/MainQueue.h"
#include "platform/macos/CFReference.h"

namespace kelo {

/// A timer of the main run loop, in its default mode. An interval that is not positive is a ten-thousandth of a second.
/// Main thread only.
///
/// If a timer becomes due and tasks are posted while the main thread is busy, the run loop does not define which runs
/// first. `run`, which knows the queued tasks, therefore calls the handler.
class RunLoopTimer : public Timer {
public:
    using Run = std::function<void(MainQueue::Task)>;

    RunLoopTimer(double interval, bool repeats, MainQueue::Task onFire, Run run);
    ~RunLoopTimer() override;

    void invalidate() override;

private:
    struct Handler;
    static void fire(CFRunLoopTimerRef timer, void* info);

    // Not owned by the run loop. `fire` keeps it alive while its handler destroys the timer.
    const std::shared_ptr<Handler> handler_;
    const CFReference<CFRunLoopTimerRef> timer_;
};

} // namespace kelo
