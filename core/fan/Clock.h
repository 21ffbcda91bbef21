#pragma once

namespace kelo {

/// The time that the fan controller reads and spends.
class Clock {
public:
    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    /// Seconds since some fixed moment; never goes back.
    virtual double now() = 0;

    /// Blocks the calling thread.
    virtual void sleep(double seconds) = 0;
};

} // namespace kelo
