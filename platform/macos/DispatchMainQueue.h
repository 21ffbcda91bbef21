#pragma once

#include <memory>
#include <thread>

#include "core/queue/MainQueue.h"

namespace kelo {

/// The main dispatch queue, drained by the main run loop, and that run loop's timers. To be made on the main thread.
///
/// Submits one queued task to the system at a time, so that other work on the system's main queue, such as signals,
/// runs between two tasks instead of after all of them. A due timer runs after the queued tasks. Delays and timers
/// pause while the machine sleeps. An exception from a task is reported and not passed on.
class DispatchMainQueue : public MainQueue {
public:
    DispatchMainQueue();
    ~DispatchMainQueue() override;

    void postMade(Tasks tasks) noexcept override;
    void postAfter(double seconds, Task task) override;
    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override;
    bool isCurrent() const override;

private:
    class Waiting;

    const std::shared_ptr<Waiting> waiting_;
    const std::thread::id mainThread_ = std::this_thread::get_id();
};

} // namespace kelo
