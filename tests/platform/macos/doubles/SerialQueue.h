#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace kelo::doubles {

/// One private serial queue of XPC's: a thread of its own.
class SerialQueue {
public:
    using Item = std::function<void()>;

    /// Lives until `joinAll`.
    static SerialQueue& make();
    /// Waits until no queue has anything to do. Not on a queue.
    static void settleAll();
    /// Settles, ends the threads and forgets the queues.
    static void joinAll();
    /// Whether the calling thread is one of the queues'.
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
