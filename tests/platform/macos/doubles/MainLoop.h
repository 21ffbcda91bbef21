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

/// Whether the main loop is the double below, which runs in virtual time. The system's main loop runs in real time.
#ifdef KELO_REAL_DISPATCH
constexpr bool isTimeVirtual = false;
#else
constexpr bool isTimeVirtual = true;
#endif

/// The main thread's run loop and dispatch queue in virtual time: time passes only while the loop runs.
///
/// It runs in passes, like the platform's: first the ready sources, then either the due timers or the queued blocks,
/// alternating if both are ready. Items added during a pass run in a later pass. A loop nested in a block runs no
/// blocks.
class MainLoop {
public:
    using Item = std::function<void()>;
    enum class Kind { source, timer, block };

    double now() const;

    /// May be called on any thread.
    void post(double delay, Item item, Kind kind = Kind::block);

    /// Runs until `stop` is called. Running out of items is a misuse, which also ends the loop.
    void run();
    void stop() { isStopped_ = true; }
    /// Runs passes until `seconds` have elapsed; runs a single pass for 0 seconds.
    void runInMode(double seconds);

    /// Runs everything that is due within `seconds`.
    void runFor(double seconds);
    /// Runs items that are due now, including items that other threads post, until `isDone` returns true. Returns false
    /// after ten real seconds.
    bool runUntil(const std::function<bool()>& isDone);
    /// Advances the time without running anything.
    void block(double seconds);

    /// Adds a function that is called before each pass to detect external events.
    void addPoll(std::function<void()> poll);

    bool isOnMainThread() const { return std::this_thread::get_id() == mainThread_; }

    /// Drops all items; makes the calling thread the main thread.
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
