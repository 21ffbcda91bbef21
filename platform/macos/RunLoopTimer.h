#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <functional>
#include <memory>

#include "core/queue/MainQueue.h"
#include "platform/macos/CFReference.h"

namespace kelo {

/// A timer of the main run loop, in its default mode. Intervals that are not positive become 0.1 milliseconds. Main
/// thread only.
///
/// When a timer becomes due and tasks are posted while the main thread is busy, the run loop does not guarantee their
/// order. The handler is therefore called through `run`, which knows the queued tasks.
class RunLoopTimer : public Timer {
public:
    using Run = std::function<void(MainQueue::Task)>;

    RunLoopTimer(double interval, bool repeats, MainQueue::Task onFire, Run run);
    ~RunLoopTimer() override;

    void invalidate() override;

private:
    struct Handler;
    static void fire(CFRunLoopTimerRef timer, void* info);

    // The run loop does not own it. `fire` keeps it alive while the handler destroys the timer.
    const std::shared_ptr<Handler> handler_;
    const CFReference<CFRunLoopTimerRef> timer_;
};

} // namespace kelo
