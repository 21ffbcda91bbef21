#pragma once

#include <functional>
#include <memory>
#include <string>

#include "testing/VirtualQueue.h"

namespace kelo {

/// The main queue in virtual time. Reports each timer that is armed and each repeating timer that is cancelled. Does
/// not report that a one-shot timer is cancelled, since this has no further effect.
class RecordingQueue : public VirtualQueue {
public:
    using VirtualQueue::VirtualQueue;

    /// Called with each report, such as "timer in 8.0 s", "timer every 2.0 s" or "cancel timer every 2.0 s".
    std::function<void(const std::string&)> onStep = [](const std::string&) {};

    void postPrepared(Tasks tasks) noexcept override;
    void postAfter(double seconds, Task task) override;
    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override;

protected:
    /// Reports exceptions instead of propagating them, as the queue of every platform does.
    void run(const Task& task) override;

private:
    class RecordingTimer;
};

} // namespace kelo
