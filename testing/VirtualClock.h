#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "core/fan/Clock.h"

namespace kelo {

/// Time that passes only when a thread sleeps.
class VirtualClock : public Clock {
public:
    /// `now` is borrowed: the virtual time in seconds, shared with the other parts of the test.
    explicit VirtualClock(double& now) : now_(now) {}

    double now() override { return now_; }
    void sleep(double seconds) override {
        now_ += seconds > 0 ? seconds : 0;
        ++sleeps;
        for (const auto& happen : std::exchange(meanwhile, {}))
            happen();
    }

    int sleeps = 0;
    /// Actions of other threads, run at the next sleep.
    std::vector<std::function<void()>> meanwhile;

private:
    double& now_;
};

} // namespace kelo
