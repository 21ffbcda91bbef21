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
/// The run loop gives no order between a timer that fell due while the main thread was busy and tasks that were posted
/// meanwhile; so the handler goes through `run`, which knows what waits.
class RunLoopTimer : public Timer {
public:
    using Run = std::function<void(MainQueue::Task)>;

    RunLoopTimer(double interval, bool repeats, MainQueue::Task onFire, Run run);
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
