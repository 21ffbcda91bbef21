#pragma once

#include "core/fan/Clock.h"

namespace kelo {

/// Monotonic time, which stands still while the machine sleeps, and sleeping.
class PosixClock : public Clock {
public:
    double now() override;

    /// Returns at once for zero, negative and not-a-number; sleeps on when a signal interrupts it.
    void sleep(double seconds) override;
};

} // namespace kelo
