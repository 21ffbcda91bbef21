#pragma once

#include <memory>
#include <utility>

#include "testing/VirtualQueue.h"

namespace kelo {

/// A queue that a test can have run a timer once more, as one may that had already begun to when its timer ended.
class LateQueue : public VirtualQueue {
public:
    using VirtualQueue::VirtualQueue;

    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override {
        last_ = onFire;
        return VirtualQueue::scheduleTimer(interval, repeats, std::move(onFire));
    }

    /// Runs what the timer that was scheduled last runs, whether or not it has ended.
    void fireLastTimer() const { last_(); }

private:
    Task last_;
};

} // namespace kelo
