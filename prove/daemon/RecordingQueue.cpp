#include "prove/daemon/RecordingQueue.h"

#include <utility>

#include "core/hold/FanHoldEvent.h"

namespace kelo {

/// Says once that it was cancelled.
class RecordingQueue::RecordingTimer : public Timer {
public:
    RecordingTimer(std::unique_ptr<Timer> timer, std::function<void()> onCancel)
        : timer_(std::move(timer)), onCancel_(std::move(onCancel)) {}
    ~RecordingTimer() override { cancel(); }
    void invalidate() override { cancel(); }

private:
    void cancel() {
        timer_->invalidate();
        if (const auto onCancel = std::exchange(onCancel_, nullptr))
            onCancel();
    }

    std::unique_ptr<Timer> timer_;
    std::function<void()> onCancel_;
};

std::unique_ptr<Timer> RecordingQueue::scheduleTimer(double interval, bool repeats, Task onFire) {
    const auto name = std::string("timer ") + (repeats ? "every " : "in ") + shortestText(interval) + " s";
    onStep(name);
    auto timer = VirtualQueue::scheduleTimer(interval, repeats, std::move(onFire));
    if (!repeats)
        return timer;
    return std::make_unique<RecordingTimer>(std::move(timer), [this, name] { onStep("cancel " + name); });
}

} // namespace kelo
