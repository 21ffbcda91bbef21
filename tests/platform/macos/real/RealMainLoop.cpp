// Implements the tests' main loop with the real run loop, in real time.

#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "tests/platform/macos/doubles/MainLoop.h"

namespace kelo::doubles {

namespace {

// Leaves time for other threads to register sources and post work.
constexpr double shortestRun = 0.2;

double seconds() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

void runAll(void* loop) { static_cast<MainLoop*>(loop)->runInMode(0); }

/// The run loop's source for queued items. `post` signals it for each item.
CFRunLoopSourceRef itemSource() {
    static const CFRunLoopSourceRef source = [] {
        CFRunLoopSourceContext context{};
        context.info = &mainLoop();
        context.perform = runAll;
        const auto made = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context);
        CFRunLoopAddSource(CFRunLoopGetMain(), made, kCFRunLoopDefaultMode);
        return made;
    }();
    return source;
}

} // namespace

double MainLoop::now() const { return seconds() - now_; }

void MainLoop::post(double, Item item, Kind kind) {
    if (kind != Kind::source) {
        dispatch_async_f(dispatch_get_main_queue(), new Item(std::move(item)), [](void* context) {
            const std::unique_ptr<Item> posted(static_cast<Item*>(context));
            (*posted)();
        });
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        items_.emplace(std::pair(0, sequence_++), std::pair(kind, std::move(item)));
    }
    CFRunLoopSourceSignal(itemSource());
    CFRunLoopWakeUp(CFRunLoopGetMain());
}

/// Runs the queued items of the source.
void MainLoop::runInMode(double) {
    decltype(items_) ready;
    {
        const std::lock_guard lock(mutex_);
        ready.swap(items_);
    }
    for (const auto& item : ready)
        item.second.second();
}

void MainLoop::runFor(double duration) {
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, std::max(duration, shortestRun), false);
}

bool MainLoop::runUntil(const std::function<bool()>& isDone) {
    const double deadline = seconds() + 10;
    while (!isDone()) {
        if (seconds() > deadline)
            return false;
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.002, false);
    }
    return true;
}

void MainLoop::block(double duration) { std::this_thread::sleep_for(std::chrono::duration<double>(duration)); }

void MainLoop::reset() {
    now_ = seconds();
    items_.clear();
    mainThread_ = std::this_thread::get_id();
}

MainLoop& mainLoop() {
    static MainLoop theMainLoop;
    return theMainLoop;
}

} // namespace kelo::doubles
