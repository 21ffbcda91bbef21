#include "tests/platform/macos/doubles/MainLoop.h"

#include <algorithm>
#include <chrono>
#include <limits>

#include "tests/platform/macos/doubles/Journal.h"

namespace kelo::doubles {

namespace {

// A loop that only a repeating timer keeps alive, and that nobody stops.
constexpr double endOfTime = 1e7;

} // namespace

double MainLoop::now() const {
    const std::lock_guard lock(mutex_);
    return now_;
}

void MainLoop::post(double delay, Item item) {
    {
        const std::lock_guard lock(mutex_);
        items_.emplace(std::pair(now_ + std::max(delay, 0.0), sequence_++), std::move(item));
    }
    posted_.notify_all();
}

/// False when nothing falls due until `end`.
bool MainLoop::runOne(double end) {
    for (const auto& poll : polls_)
        poll();
    Item item;
    {
        const std::lock_guard lock(mutex_);
        if (items_.empty() || items_.begin()->first.first > end)
            return false;
        now_ = std::max(now_, items_.begin()->first.first);
        item = std::move(items_.begin()->second);
        items_.erase(items_.begin());
    }
    item();
    return true;
}

void MainLoop::run() {
    while (runOne(endOfTime)) {
    }
    if (now() > endOfTime / 2)
        journal().misuse("the main loop would have run for ever");
}

void MainLoop::runFor(double seconds) {
    const double end = now() + seconds;
    while (runOne(end)) {
    }
    const std::lock_guard lock(mutex_);
    now_ = std::max(now_, end);
}

bool MainLoop::runUntil(const std::function<bool()>& isDone) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!isDone()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        if (runOne(now()))
            continue;
        std::unique_lock lock(mutex_);
        posted_.wait_for(lock, std::chrono::milliseconds(1));
    }
    return true;
}

void MainLoop::block(double seconds) {
    const std::lock_guard lock(mutex_);
    now_ += seconds;
}

void MainLoop::addPoll(std::function<void()> poll) { polls_.push_back(std::move(poll)); }

void MainLoop::reset() {
    std::map<std::pair<double, std::uint64_t>, Item> dropped; // destroyed outside of the lock
    const std::lock_guard lock(mutex_);
    dropped.swap(items_);
    now_ = 0;
    polls_.clear();
    mainThread_ = std::this_thread::get_id();
}

MainLoop& mainLoop() {
    static MainLoop theMainLoop;
    return theMainLoop;
}

} // namespace kelo::doubles
