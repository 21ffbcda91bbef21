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

/// Whether the main loop is the double below rather than the system's, which runs in real time.
#ifdef KELO_REAL_DISPATCH
constexpr bool isTimeVirtual = false;
#else
constexpr bool isTimeVirtual = true;
#endif

/// The main thread's run loop and dispatch queue in virtual time: time passes only while the loop runs.
///
/// It runs in passes, as the platform's does: first the sources that are ready, then the timers that are due or, every
/// other time and where there is no timer, the blocks that wait. What is added by one of them belongs to a later pass.
/// A loop that runs inside a block runs no blocks.
class MainLoop {
public:
    using Item = std::function<void()>;
    enum class Kind { source, timer, block };

    double now() const;

    /// Any thread.
    void post(double delay, Item item, Kind kind = Kind::block);

    /// Runs until `stop`. Nothing else ends it: a loop for which nothing is left is a misuse, and returns.
    void run();
    void stop() { isStopped_ = true; }
    /// Runs until a pass ends `seconds` later or after that; only one pass if they are 0.
    void runInMode(double seconds);

    /// Runs everything that is due within `seconds`.
    void runFor(double seconds);
    /// Runs what is due now, as other threads post it, until `isDone`. False when that takes more than ten real
    /// seconds.
    bool runUntil(const std::function<bool()>& isDone);
    /// Lets time pass without running anything.
    void block(double seconds);

    /// Adds a function that is called before each pass to look for outside events.
    void addPoll(std::function<void()> poll);

    bool isOnMainThread() const { return std::this_thread::get_id() == mainThread_; }

    /// Drops everything; the calling thread is the main thread from now on.
    void reset();

private:
    bool runPass(double end);
    bool runReady(Kind kind);

    mutable std::mutex mutex_;
    std::condition_variable posted_;
    std::map<std::pair<double, std::uint64_t>, std::pair<Kind, Item>> items_; ///< By due time, then order of posting.
    std::uint64_t sequence_ = 0;
    double now_ = 0;
    bool isStopped_ = false;
    bool isBlocksTurn_ = false;
    bool isRunningBlocks_ = false;
    std::vector<std::function<void()>> polls_;
    std::thread::id mainThread_ = std::this_thread::get_id();
};

MainLoop& mainLoop();

} // namespace kelo::doubles
