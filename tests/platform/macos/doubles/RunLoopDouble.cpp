#include "tests/platform/macos/doubles/RunLoopDouble.h"

#include <cmath>
#include <map>
#include <set>
#include <string>

#include "tests/platform/macos/doubles/CFObject.h"
#include "tests/platform/macos/doubles/CoreFoundationDouble.h"
#include "tests/platform/macos/doubles/Journal.h"
#include "tests/platform/macos/doubles/MainLoop.h"

namespace kelo::doubles {

namespace {

// A large start date, so that dates cannot be mistaken for intervals.
constexpr CFAbsoluteTime dateAtStart = 1 << 20;

CFObject mainRunLoop(CFKind::runLoop);
CFObject otherRunLoop(CFKind::runLoop);

CFRunLoopRef asRunLoop(CFObject& object) { return reinterpret_cast<CFRunLoopRef>(&object); }

std::string nameOf(CFRunLoopRef runLoop) { return runLoop == asRunLoop(mainRunLoop) ? "main" : "another thread's"; }

std::string nameOf(CFRunLoopMode mode) { return mode == kCFRunLoopDefaultMode ? "default" : "another mode"; }

struct TimerState {
    double due;
    double interval;
    CFRunLoopTimerCallBack callback;
    CFRunLoopTimerContext context;
    bool isAdded = false;
    bool isValid = true;
};

std::map<CFRunLoopTimerRef, TimerState> timers;
std::set<CFRunLoopSourceRef> sources;

void expectMainThread(const char* function) {
    if (!mainLoop().isOnMainThread())
        journal().misuse(std::string(function) + " off the main thread");
}

void arm(CFRunLoopTimerRef timer);

void fire(CFRunLoopTimerRef timer, double due) {
    auto& state = timers.at(timer);
    if (!state.isValid || due != state.due)
        return;
    retainCF(timer);
    state.callback(timer, state.context.info);
    if (state.interval <= 0)
        CFRunLoopTimerInvalidate(timer);
    if (state.isValid) {
        do
            state.due += state.interval;
        while (state.due <= mainLoop().now());
        arm(timer);
    }
    CFRelease(timer);
}

void arm(CFRunLoopTimerRef timer) {
    const double due = timers.at(timer).due;
    mainLoop().post(
        due - mainLoop().now(), [timer, due] { fire(timer, due); }, MainLoop::Kind::timer);
}

} // namespace

bool isScheduled(CFRunLoopSourceRef source) { return sources.contains(source); }

void resetRunLoop() {
    timers.clear();
    sources.clear();
}

} // namespace kelo::doubles

using namespace kelo::doubles;

extern "C" {

const CFRunLoopMode kCFRunLoopDefaultMode = CFSTR("kCFRunLoopDefaultMode");

CFRunLoopRef CFRunLoopGetMain() { return asRunLoop(mainRunLoop); }

CFRunLoopRef CFRunLoopGetCurrent() { return asRunLoop(mainLoop().isOnMainThread() ? mainRunLoop : otherRunLoop); }

void CFRunLoopRun() {
    journal().add("CFRunLoopRun");
    expectMainThread("CFRunLoopRun");
    mainLoop().run();
}

void CFRunLoopStop(CFRunLoopRef runLoop) {
    journal().add("CFRunLoopStop " + nameOf(runLoop));
    mainLoop().stop();
}

SInt32 CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds, Boolean returnAfterSourceHandled) {
    expectMainThread("CFRunLoopRunInMode");
    if (mode != kCFRunLoopDefaultMode || returnAfterSourceHandled)
        journal().misuse("CFRunLoopRunInMode with another mode or until the first source");
    mainLoop().runInMode(seconds);
    return 3; // timed out
}

void CFRunLoopAddSource(CFRunLoopRef runLoop, CFRunLoopSourceRef source, CFRunLoopMode mode) {
    journal().add("CFRunLoopAddSource " + nameOf(runLoop) + " " + nameOf(mode));
    if (source == nullptr)
        return journal().misuse("CFRunLoopAddSource of null");
    retainCF(source);
    if (runLoop == CFRunLoopGetMain() && mode == kCFRunLoopDefaultMode)
        sources.insert(source);
}

void CFRunLoopRemoveSource(CFRunLoopRef runLoop, CFRunLoopSourceRef source, CFRunLoopMode mode) {
    journal().add("CFRunLoopRemoveSource " + nameOf(runLoop) + " " + nameOf(mode));
    if (!sources.contains(source))
        return journal().misuse("CFRunLoopRemoveSource of a source that was not added");
    sources.erase(source);
    CFRelease(source);
}

CFAbsoluteTime CFAbsoluteTimeGetCurrent() { return dateAtStart + mainLoop().now(); }

CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef, CFAbsoluteTime fireDate, CFTimeInterval interval,
                                       CFOptionFlags flags, CFIndex order, CFRunLoopTimerCallBack callback,
                                       CFRunLoopTimerContext* context) {
    journal().add(std::string("CFRunLoopTimerCreate ") + (interval > 0 ? "repeating" : "once"));
    if (std::isnan(fireDate) || std::isnan(interval))
        journal().misuse("CFRunLoopTimerCreate with NaN");
    const CFRunLoopTimerContext copied = context != nullptr ? *context : CFRunLoopTimerContext{};
    if (flags != 0 || order != 0 || copied.version != 0)
        journal().misuse("CFRunLoopTimerCreate with flags, an order or a version that is not 0");
    auto* const timer = reinterpret_cast<CFRunLoopTimerRef>(&makeCFObject(CFKind::runLoopTimer));
    timers.insert({timer, TimerState{fireDate - dateAtStart, interval, callback, copied}});
    return timer;
}

void CFRunLoopAddTimer(CFRunLoopRef runLoop, CFRunLoopTimerRef timer, CFRunLoopMode mode) {
    journal().add("CFRunLoopAddTimer " + nameOf(runLoop) + " " + nameOf(mode));
    expectMainThread("CFRunLoopAddTimer");
    retainCF(timer);
    timers.at(timer).isAdded = true;
    arm(timer);
}

Boolean CFRunLoopTimerIsValid(CFRunLoopTimerRef timer) { return timers.at(timer).isValid; }

void CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer) {
    journal().add("CFRunLoopTimerInvalidate");
    expectMainThread("CFRunLoopTimerInvalidate");
    auto& state = timers.at(timer);
    if (!state.isValid)
        return;
    state.isValid = false;
    if (state.isAdded)
        CFRelease(timer);
}

} // extern "C"
