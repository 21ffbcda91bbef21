#include "platform/macos/RunLoopTimer.h"

#include <utility>

#include "platform/posix/Containment.h"

namespace kelo {

struct RunLoopTimer::Handler : std::enable_shared_from_this<Handler> {
    explicit Handler(MainQueue::Task task) : onFire(std::move(task)) {}
    const MainQueue::Task onFire;
};

namespace {

// A repeating timer of interval 0 would fire once only, and one that is not a number would end the process.
constexpr double shortestInterval = 1e-4;

double usableInterval(double interval) { return interval > shortestInterval ? interval : shortestInterval; }

CFReference<CFRunLoopTimerRef> makeTimer(double interval, bool repeats, CFRunLoopTimerCallBack callback, void* info) {
    CFRunLoopTimerContext context{}; // copied by the timer
    context.info = info;
    return CFReference<CFRunLoopTimerRef>(CFRunLoopTimerCreate(
        kCFAllocatorDefault, CFAbsoluteTimeGetCurrent() + interval, repeats ? interval : 0, 0, 0, callback, &context));
}

} // namespace

RunLoopTimer::RunLoopTimer(double interval, bool repeats, MainQueue::Task onFire)
    : handler_(std::make_shared<Handler>(std::move(onFire))),
      timer_(makeTimer(usableInterval(interval), repeats, fire, handler_.get())) {
    CFRunLoopAddTimer(CFRunLoopGetMain(), timer_.get(), kCFRunLoopDefaultMode);
}

RunLoopTimer::~RunLoopTimer() { invalidate(); }

void RunLoopTimer::invalidate() { CFRunLoopTimerInvalidate(timer_.get()); }

void RunLoopTimer::fire(CFRunLoopTimerRef, void* info) {
    const auto handler = static_cast<Handler*>(info)->shared_from_this();
    contain("a timer's handler", handler->onFire);
}

} // namespace kelo
