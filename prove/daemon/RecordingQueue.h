#pragma once

#include <functional>
#include <memory>
#include <string>

#include "testing/VirtualQueue.h"

namespace kelo {

/// The main queue in virtual time, which reports each timer that is armed, and each repeating one that is cancelled:
/// that one which fires once was cancelled shows by its silence.
class RecordingQueue : public VirtualQueue {
public:
    using VirtualQueue::VirtualQueue;

    /// Called with "timer in 8.0 s", "timer every 2.0 s", "cancel timer every 2.0 s".
    std::function<void(const std::string&)> onStep = [](const std::string&) {};

    void postPrepared(Tasks tasks) noexcept override;
    void postAfter(double seconds, Task task) override;
    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override;

protected:
    /// As on every platform, what it throws is reported and goes no further.
    void run(const Task& task) override;

private:
    class RecordingTimer;
};

} // namespace kelo
