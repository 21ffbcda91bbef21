#pragma once

#include "core/fan/FanSystem.h"

namespace kelo {

/// Time that passes only when somebody sleeps, and rights that a test gives and takes.
class VirtualFanSystem : public FanSystem {
public:
    /// `now` is borrowed: the virtual seconds that the test's other parts read, too.
    explicit VirtualFanSystem(double& now) : now_(now) {}

    double now() override { return now_; }
    void sleep(double seconds) override {
        now_ += seconds;
        ++sleeps;
    }
    bool isRoot() override { return root; }

    bool root = true;
    int sleeps = 0;

private:
    double& now_;
};

} // namespace kelo
