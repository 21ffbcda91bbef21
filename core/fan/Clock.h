#pragma once

namespace kelo {

/// The time that the fan controller reads and spends.
class Clock {
public:
    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    /// Seconds since some fixed moment; never goes back. Counts the time that the machine is awake, as do the delays
    /// and timers of the main queue: a deadline that passes while it sleeps would have left no time to try anything.
    virtual double now() = 0;

    /// Blocks the calling thread.
    virtual void sleep(double seconds) = 0;
};

} // namespace kelo
