#pragma once

#include <functional>
#include <memory>
#include <string>

#include "testing/VirtualQueue.h"

namespace kelo {

/// The main queue in virtual time. Reports each timer that is armed and each repeating timer that is cancelled. A
/// cancelled timer that fires only once needs no report, since it has no further effect.
class RecordingQueue : public VirtualQueue {
public:
    using VirtualQueue::VirtualQueue;

    /// Called with "timer in 8.0 s", "timer every 2.0 s", "cancel timer every 2.0 s".
    std::function<void(const std::string&)> onStep = [](const std::string&) {};

    void postPrepared(Tasks tasks) noexcept override;
    void postAfter(double seconds, Task task) override;
    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override;

protected:
    /// As on every platform, exceptions are reported and not propagated.
    void run(const Task& task) override;

private:
    class RecordingTimer;
};

} // namespace kelo
