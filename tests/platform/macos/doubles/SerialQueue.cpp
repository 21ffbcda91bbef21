#include "tests/platform/macos/doubles/SerialQueue.h"

#include <algorithm>
#include <atomic>
#include <utility>
#include <vector>

#include "tests/platform/macos/doubles/FoundationReset.h"

namespace kelo::doubles {

namespace {

std::mutex queuesMutex;
std::vector<std::unique_ptr<SerialQueue>> queues;
std::atomic<int> pending = 0; // posted items that have not finished
thread_local bool isQueueThread = false;

} // namespace

SerialQueue::SerialQueue() : thread_([this] { run(); }) {}

SerialQueue::~SerialQueue() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

SerialQueue& SerialQueue::make() {
    std::unique_ptr<SerialQueue> queue(new SerialQueue);
    const std::lock_guard lock(queuesMutex);
    queues.push_back(std::move(queue));
    return *queues.back();
}

void SerialQueue::settleAll() {
    while (pending.load() != 0)
        std::this_thread::sleep_for(std::chrono::microseconds(200));
}

void SerialQueue::joinAll() {
    settleAll();
    const std::lock_guard lock(queuesMutex);
    queues.clear();
}

bool SerialQueue::isCurrentAny() { return isQueueThread; }

void SerialQueue::async(Item item) {
    ++pending;
    {
        const std::lock_guard lock(mutex_);
        items_.push_back(std::move(item));
    }
    changed_.notify_one();
}

void SerialQueue::run() {
    isQueueThread = true;
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return isEnding_ || !items_.empty(); });
        if (items_.empty())
            return;
        Item item = std::move(items_.front());
        items_.pop_front();
        lock.unlock();
        runInPool([&item] { std::exchange(item, nullptr)(); });
        --pending;
        lock.lock();
    }
}

} // namespace kelo::doubles
