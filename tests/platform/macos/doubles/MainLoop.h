#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace kelo::doubles {

/// The main thread's run loop and dispatch queue in virtual time: time passes only while the loop runs.
class MainLoop {
public:
    using Item = std::function<void()>;

    double now() const;

    /// Any thread.
    void post(double delay, Item item);

    /// Runs what is posted, in order of time, until nothing is left.
    void run();

    /// Runs everything that falls due within `seconds`.
    void runFor(double seconds);
    /// Runs what is due now, as other threads post it, until `isDone`. False when that takes more than ten real
    /// seconds.
    bool runUntil(const std::function<bool()>& isDone);
    /// Time passes and nothing runs.
    void block(double seconds);

    /// Called before each item: looks whether something has happened outside.
    void addPoll(std::function<void()> poll);

    bool isOnMainThread() const { return std::this_thread::get_id() == mainThread_; }

    /// Drops everything; the calling thread is the main thread from now on.
    void reset();

private:
    bool runOne(double end);

    mutable std::mutex mutex_;
    std::condition_variable posted_;
    std::map<std::pair<double, std::uint64_t>, Item> items_; ///< By due time, then by order of posting.
    std::uint64_t sequence_ = 0;
    double now_ = 0;
    std::vector<std::function<void()>> polls_;
    std::thread::id mainThread_ = std::this_thread::get_id();
};

MainLoop& mainLoop();

} // namespace kelo::doubles
