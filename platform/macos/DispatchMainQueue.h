#pragma once

#include <thread>

#include "core/queue/MainQueue.h"

namespace kelo {

/// The main dispatch queue, drained by the main run loop, and that run loop's timers. To be made on the main thread.
///
/// Delays and timers stand still while the machine sleeps. What a task throws is reported and goes no further.
class DispatchMainQueue : public MainQueue {
public:
    void post(Task task) override;
    void postAfter(double seconds, Task task) override;
    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override;
    bool isCurrent() const override;

private:
    const std::thread::id mainThread_ = std::this_thread::get_id();
};

} // namespace kelo
