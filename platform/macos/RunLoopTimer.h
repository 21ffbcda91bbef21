#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <functional>
#include <memory>

#include "core/queue/MainQueue.h"
#include "platform/macos/CFReference.h"

namespace kelo {

/// A timer of the main run loop, in the default mode. NaN and intervals below 0.1 milliseconds become 0.1 milliseconds.
/// Main thread only.
///
/// If a timer becomes due and tasks are posted while the main thread is busy, the run loop does not guarantee in which
/// order they run. The timer therefore passes the call of its handler to `run`, which runs the queued tasks first.
class RunLoopTimer : public Timer {
public:
    using Run = std::function<void(MainQueue::Task)>;

    RunLoopTimer(double interval, bool repeats, MainQueue::Task onFire, Run run);
    ~RunLoopTimer() override;

    void invalidate() override;

private:
    struct Handler;
    static void fire(CFRunLoopTimerRef timer, void* info);

    // The run loop does not own the handler. `fire` keeps the handler alive, since the handler may destroy the timer.
    const std::shared_ptr<Handler> handler_;
    const CFReference<CFRunLoopTimerRef> timer_;
};

} // namespace kelo
