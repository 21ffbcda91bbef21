#pragma once

#include <memory>
#include <thread>

#include "core/queue/MainQueue.h"

namespace kelo {

/// Combines the main dispatch queue, which the main run loop drains, with the timers of this run loop. Create it on the
/// main thread.
///
/// Submits only one task to the system at a time, so that other work on the system's main queue, such as signals, can
/// run between two tasks and does not wait for all of them. A timer that becomes due runs after the queued tasks.
/// Delays and timers pause while the machine sleeps. Reports exceptions from tasks and does not pass them on.
class DispatchMainQueue : public MainQueue {
public:
    DispatchMainQueue();
    ~DispatchMainQueue() override;

    void postPrepared(Tasks tasks) noexcept override;
    void postAfter(double seconds, Task task) override;
    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override;
    bool isCurrent() const override;

private:
    class Backlog;

    const std::shared_ptr<Backlog> backlog_;
    const std::thread::id mainThread_ = std::this_thread::get_id();
};

} // namespace kelo
