#pragma once

#include <memory>
#include <thread>

#include "core/queue/MainQueue.h"

namespace kelo {

/// The main dispatch queue, drained by the main run loop, and that run loop's timers. To be made on the main thread.
///
/// Of the tasks that wait, the system holds one at a time: what else is delivered on its main queue, signals above all,
/// comes between any two of them and not behind them all. A timer that is due comes after those that wait. Delays and
/// timers stand still while the machine sleeps. What a task throws is reported and goes no further.
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
