#pragma once

namespace kelo {

/// What the fan controller asks of the operating system beside the controller's keys.
class FanSystem {
public:
    FanSystem() = default;
    FanSystem(const FanSystem&) = delete;
    FanSystem& operator=(const FanSystem&) = delete;
    virtual ~FanSystem() = default;

    /// Seconds since some fixed moment; never goes back.
    virtual double now() = 0;

    /// Blocks the calling thread.
    virtual void sleep(double seconds) = 0;

    /// Whether the process has the rights to change fans. Asked afresh at every use.
    virtual bool isRoot() = 0;
};

} // namespace kelo
