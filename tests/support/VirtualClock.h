#pragma once

#include "core/fan/Clock.h"

namespace kelo {

/// Time that passes only when somebody sleeps.
class VirtualClock : public Clock {
public:
    /// `now` is borrowed: the virtual seconds that the test's other parts read, too.
    explicit VirtualClock(double& now) : now_(now) {}

    double now() override { return now_; }
    void sleep(double seconds) override {
        now_ += seconds > 0 ? seconds : 0;
        ++sleeps;
    }

    int sleeps = 0;

private:
    double& now_;
};

} // namespace kelo
