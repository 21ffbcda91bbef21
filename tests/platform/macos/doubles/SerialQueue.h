#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace kelo::doubles {

/// A private serial queue of XPC, on a separate thread.
class SerialQueue {
public:
    using Item = std::function<void()>;

    /// Lives until `joinAll`.
    static SerialQueue& make();
    /// Waits until all queues are idle. Not to be called on a queue.
    static void settleAll();
    /// Settles, ends the threads and removes the queues.
    static void joinAll();
    /// Whether the calling thread belongs to a queue.
    static bool isCurrentAny();

    void async(Item item);
    bool isCurrent() const { return std::this_thread::get_id() == thread_.get_id(); }

    ~SerialQueue();

private:
    SerialQueue();
    void run();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Item> items_;
    bool isEnding_ = false;
    std::thread thread_; // last: it uses the others
};

} // namespace kelo::doubles
