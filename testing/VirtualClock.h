#pragma once

#include <functional>
#include <utility>
#include <vector>

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
        for (const auto& happen : std::exchange(meanwhile, {}))
            happen();
    }

    int sleeps = 0;
    /// What other threads do as soon as somebody sleeps.
    std::vector<std::function<void()>> meanwhile;

private:
    double& now_;
};

} // namespace kelo
