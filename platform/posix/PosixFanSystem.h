#pragma once

#include "core/fan/FanSystem.h"

namespace kelo {

/// Time, sleep and rights as every POSIX system has them.
class PosixFanSystem : public FanSystem {
public:
    double now() override;

    /// Returns at once for zero, negative and not-a-number; sleeps on when a signal interrupts it.
    void sleep(double seconds) override;

    bool isRoot() override;
};

} // namespace kelo
