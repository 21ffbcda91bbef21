#pragma once

#include <memory>
#include <utility>

#include "testing/VirtualQueue.h"

namespace kelo {

/// A queue whose last timer a test can fire even after the timer has ended, as if its handler had already been
/// starting.
class LateQueue : public VirtualQueue {
public:
    using VirtualQueue::VirtualQueue;

    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override {
        last_ = onFire;
        return VirtualQueue::scheduleTimer(interval, repeats, std::move(onFire));
    }

    /// Runs the handler of the timer scheduled last, even if that timer has ended.
    void fireLastTimer() const { last_(); }

private:
    Task last_;
};

} // namespace kelo
