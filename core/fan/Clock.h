#pragma once

namespace kelo {

class Clock {
public:
    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    /// A monotonic time in seconds since an arbitrary moment. Like the delays and timers of the main queue, it advances
    /// only while the machine is awake. Otherwise a deadline could pass during sleep without a single attempt.
    virtual double now() = 0;

    /// Blocks the calling thread for `seconds`.
    virtual void sleep(double seconds) = 0;
};

} // namespace kelo
