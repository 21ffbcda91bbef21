#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tests/support/VirtualQueue.h"

namespace kelo {

/// The main queue in virtual time, which reports each timer that is armed and each that is cancelled.
class RecordingQueue : public VirtualQueue {
public:
    using VirtualQueue::VirtualQueue;

    /// Called with "timer in 8 s", "timer every 2 s", "cancel timer in 8 s".
    std::function<void(const std::string&)> onStep = [](const std::string&) {};

    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override;

private:
    class RecordingTimer;
};

} // namespace kelo
