#pragma once

#include "core/fan/Clock.h"

namespace kelo {

/// A monotonic clock that stops while the machine sleeps.
class PosixClock : public Clock {
public:
    double now() override;

    /// Returns immediately if `seconds` is zero, negative or NaN. A signal does not end the sleep early.
    void sleep(double seconds) override;
};

} // namespace kelo
