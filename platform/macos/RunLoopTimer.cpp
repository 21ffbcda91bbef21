#include "platform/macos/RunLoopTimer.h"

#include <exception>
#include <utility>

#include "platform/posix/Containment.h"

namespace kelo {

struct RunLoopTimer::Handler : std::enable_shared_from_this<Handler> {
    Handler(MainQueue::Task task, Run way) : onFire(std::move(task)), run(std::move(way)) {}
    const MainQueue::Task onFire;
    const Run run;
    bool isValid = true;
    bool isWaiting = false; ///< The timer has fired, but `run` has not called the handler yet.
};

namespace {

// A repeating timer with an interval of 0 would fire only once, and a NaN interval would end the process.
constexpr double shortestInterval = 1e-4;

double usableInterval(double interval) { return interval > shortestInterval ? interval : shortestInterval; }

CFReference<CFRunLoopTimerRef> makeTimer(double interval, bool repeats, CFRunLoopTimerCallBack callback, void* info) {
    CFRunLoopTimerContext context{}; // the timer copies it
    context.info = info;
    return CFReference<CFRunLoopTimerRef>(CFRunLoopTimerCreate(
        kCFAllocatorDefault, CFAbsoluteTimeGetCurrent() + interval, repeats ? interval : 0, 0, 0, callback, &context));
}

} // namespace

RunLoopTimer::RunLoopTimer(double interval, bool repeats, MainQueue::Task onFire, Run run)
    : handler_(std::make_shared<Handler>(std::move(onFire), std::move(run))),
      timer_(makeTimer(usableInterval(interval), repeats, fire, handler_.get())) {
    CFRunLoopAddTimer(CFRunLoopGetMain(), timer_.get(), kCFRunLoopDefaultMode);
}

RunLoopTimer::~RunLoopTimer() { invalidate(); }

void RunLoopTimer::invalidate() {
    handler_->isValid = false;
    CFRunLoopTimerInvalidate(timer_.get());
}

void RunLoopTimer::fire(CFRunLoopTimerRef, void* info) {
    const auto handler = static_cast<Handler*>(info)->shared_from_this();
    if (std::exchange(handler->isWaiting, true))
        return; // makes only one call for all missed times
    const auto call = [handler] {
        handler->isWaiting = false;
        if (handler->isValid)
            contain("a timer's handler", handler->onFire);
    };
    try {
        handler->run(call);
    } catch (const std::exception& error) { // no memory to queue the call: calling too early is better than never
        reportFault("a timer", error.what());
        call();
    }
}

} // namespace kelo
