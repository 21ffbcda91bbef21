#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include "core/queue/MainQueue.h"
#include "platform/macos/CFReference.h"

namespace kelo {

/// A timer of the main run loop, in its default mode. An interval that is not positive is a ten-thousandth of a second.
/// Main thread only.
class RunLoopTimer : public Timer {
public:
    RunLoopTimer(double interval, bool repeats, MainQueue::Task onFire);
    ~RunLoopTimer() override;

    void invalidate() override;

private:
    struct Handler;
    static void fire(CFRunLoopTimerRef timer, void* info);

    // The run loop borrows it. A handler that destroys its own timer runs on: `fire` holds it meanwhile.
    const std::shared_ptr<Handler> handler_;
    const CFReference<CFRunLoopTimerRef> timer_;
};

} // namespace kelo
