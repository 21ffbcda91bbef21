#include "prove/daemon/RecordingQueue.h"

#include <utility>

#include "core/hold/FanHoldEvent.h"
#include "platform/posix/Containment.h"
#include "testing/CodeOf.h"

namespace kelo {

/// Calls `onCancel` once.
class RecordingQueue::RecordingTimer : public Timer {
public:
    RecordingTimer(std::unique_ptr<Timer> timer, std::function<void()> onCancel)
        : timer_(std::move(timer)), onCancel_(std::move(onCancel)) {}
    ~RecordingTimer() override { cancel(); }
    void invalidate() override { cancel(); }

private:
    void cancel() {
        const CodeOf test(CodeOf::Owner::test);
        timer_->invalidate();
        if (const auto onCancel = std::exchange(onCancel_, nullptr))
            onCancel();
    }

    std::unique_ptr<Timer> timer_;
    std::function<void()> onCancel_;
};

namespace {

/// Makes an allocation that can fail, as a real queue does for each task and timer. All other allocations of this queue
/// succeed.
void allocateAsAQueue() { std::make_unique<char>(); }

} // namespace

void RecordingQueue::postPrepared(Tasks tasks) noexcept {
    const CodeOf test(CodeOf::Owner::test);
    VirtualQueue::postPrepared(std::move(tasks));
}

void RecordingQueue::postAfter(double seconds, Task task) {
    allocateAsAQueue();
    const CodeOf test(CodeOf::Owner::test);
    VirtualQueue::postAfter(seconds, std::move(task));
}

void RecordingQueue::run(const Task& task) {
    const CodeOf daemon(CodeOf::Owner::daemon);
    contain("a task", task);
}

std::unique_ptr<Timer> RecordingQueue::scheduleTimer(double interval, bool repeats, Task onFire) {
    allocateAsAQueue();
    const CodeOf test(CodeOf::Owner::test);
    const auto name = std::string("timer ") + (repeats ? "every " : "in ") + shortestText(interval) + " s";
    onStep(name);
    auto timer = VirtualQueue::scheduleTimer(interval, repeats, std::move(onFire));
    if (!repeats)
        return timer;
    return std::make_unique<RecordingTimer>(std::move(timer), [this, name] { onStep("cancel " + name); });
}

} // namespace kelo
