#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace kelo::doubles {

/// One of XPC's private serial queues, on a separate thread.
class SerialQueue {
public:
    using Item = std::function<void()>;

    /// Creates a queue that exists until `joinAll`.
    static SerialQueue& make();
    /// Waits until all queues are idle. Must not be called on a queue.
    static void settleAll();
    /// Waits until all queues are idle, ends their threads and removes them.
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
    std::thread thread_; // last: it uses the other members
};

} // namespace kelo::doubles
