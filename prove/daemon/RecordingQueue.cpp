#include "prove/daemon/RecordingQueue.h"

#include <utility>

#include "core/hold/FanHoldEvent.h"

namespace kelo {

/// Says once that it was cancelled, and nothing if it had fired for the last time.
class RecordingQueue::RecordingTimer : public Timer {
public:
    RecordingTimer(std::unique_ptr<Timer> timer, std::shared_ptr<bool> isPending, std::function<void()> onCancel)
        : timer_(std::move(timer)), isPending_(std::move(isPending)), onCancel_(std::move(onCancel)) {}
    ~RecordingTimer() override { cancel(); }
    void invalidate() override { cancel(); }

private:
    void cancel() {
        timer_->invalidate();
        if (std::exchange(*isPending_, false))
            onCancel_();
    }

    std::unique_ptr<Timer> timer_;
    std::shared_ptr<bool> isPending_;
    std::function<void()> onCancel_;
};

std::unique_ptr<Timer> RecordingQueue::scheduleTimer(double interval, bool repeats, Task onFire) {
    const auto name = std::string("timer ") + (repeats ? "every " : "in ") + shortestText(interval) + " s";
    onStep(name);
    auto isPending = std::make_shared<bool>(true);
    auto timer = VirtualQueue::scheduleTimer(interval, repeats, [isPending, repeats, onFire = std::move(onFire)] {
        *isPending = repeats;
        onFire();
    });
    return std::make_unique<RecordingTimer>(std::move(timer), std::move(isPending),
                                            [this, name] { onStep("cancel " + name); });
}

} // namespace kelo
