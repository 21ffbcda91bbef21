#pragma once

#include <memory>
#include <new>
#include <utility>

#include "testing/CodeOf.h"
#include "testing/VirtualQueue.h"

namespace kelo {

/// A virtual queue that can run out of memory. Posting prepared tasks always succeeds. Tasks run as code of the daemon.
class FullQueue : public VirtualQueue {
public:
    using VirtualQueue::VirtualQueue;

    bool isFull = false; ///< Whether delayed tasks and timers fail.

    void postPrepared(Tasks tasks) noexcept override {
        const CodeOf test(CodeOf::Owner::test);
        VirtualQueue::postPrepared(std::move(tasks));
    }
    void postAfter(double seconds, Task task) override {
        requireRoom();
        VirtualQueue::postAfter(seconds, std::move(task));
    }
    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override {
        requireRoom();
        return VirtualQueue::scheduleTimer(interval, repeats, std::move(onFire));
    }

protected:
    void run(const Task& task) override {
        const CodeOf daemon(CodeOf::Owner::daemon);
        task();
    }

private:
    void requireRoom() const {
        if (isFull)
            throw std::bad_alloc();
    }
};

} // namespace kelo
