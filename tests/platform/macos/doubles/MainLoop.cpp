#include "tests/platform/macos/doubles/MainLoop.h"

#include <algorithm>
#include <chrono>

#include "tests/platform/macos/doubles/Journal.h"

namespace kelo::doubles {

namespace {

// A loop that is never stopped ends at this time, even if a repeating timer keeps it running.
constexpr double endOfTime = 1e7;

} // namespace

double MainLoop::now() const {
    const std::lock_guard lock(mutex_);
    return now_;
}

void MainLoop::post(double delay, Item item, Kind kind) {
    {
        const std::lock_guard lock(mutex_);
        items_.emplace(std::pair(now_ + std::max(delay, 0.0), sequence_++), std::pair(kind, std::move(item)));
    }
    posted_.notify_all();
}

/// Runs the ready items of one kind. Returns false if there are none.
bool MainLoop::runReady(Kind kind) {
    std::vector<Item> ready;
    {
        const std::lock_guard lock(mutex_);
        for (auto item = items_.begin(); item != items_.end() && item->first.first <= now_;) {
            if (item->second.first != kind) {
                ++item;
                continue;
            }
            ready.push_back(std::move(item->second.second));
            item = items_.erase(item);
        }
    }
    for (const auto& item : ready)
        item();
    return !ready.empty();
}

/// Advances the time to the next due item and runs one pass. Returns false if no item is due until `end`.
bool MainLoop::runPass(double end) {
    for (const auto& poll : polls_)
        poll();
    {
        const std::lock_guard lock(mutex_);
        const auto first = std::find_if(items_.begin(), items_.end(), [this](const auto& item) {
            return !isRunningBlocks_ || item.second.first != Kind::block;
        });
        if (first == items_.end() || first->first.first > end)
            return false;
        now_ = std::max(now_, first->first.first);
    }
    runReady(Kind::source);
    const bool isBlocksTurn = std::exchange(isBlocksTurn_, false) && !isRunningBlocks_;
    if (!isBlocksTurn && runReady(Kind::timer)) {
        isBlocksTurn_ = true;
        return true;
    }
    if (isRunningBlocks_)
        return true;
    isRunningBlocks_ = true;
    const bool hasRunBlocks = runReady(Kind::block);
    isRunningBlocks_ = false;
    if (!hasRunBlocks && isBlocksTurn)
        runReady(Kind::timer);
    return true;
}

void MainLoop::run() {
    isStopped_ = false;
    while (!isStopped_ && runPass(endOfTime)) {
    }
    if (!isStopped_ || now() > endOfTime / 2)
        journal().misuse("the main loop would never have ended");
}

void MainLoop::runInMode(double seconds) {
    const double end = now() + seconds;
    while (runPass(end)) {
        if (now() >= end)
            return;
    }
    const std::lock_guard lock(mutex_);
    now_ = std::max(now_, end);
}

void MainLoop::runFor(double seconds) {
    const double end = now() + seconds;
    while (runPass(end)) {
    }
    const std::lock_guard lock(mutex_);
    now_ = std::max(now_, end);
}

bool MainLoop::runUntil(const std::function<bool()>& isDone) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!isDone()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        if (runPass(now()))
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
    decltype(items_) dropped; // destroyed after unlocking
    const std::lock_guard lock(mutex_);
    dropped.swap(items_);
    now_ = 0;
    isStopped_ = isBlocksTurn_ = isRunningBlocks_ = false;
    polls_.clear();
    mainThread_ = std::this_thread::get_id();
}

MainLoop& mainLoop() {
    static MainLoop theMainLoop;
    return theMainLoop;
}

} // namespace kelo::doubles
