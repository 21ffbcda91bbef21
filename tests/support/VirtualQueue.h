#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "core/queue/MainQueue.h"

namespace kelo {

/// The main queue in virtual time: nothing runs until the test lets time pass.
///
/// Time also passes when a task sleeps; what falls due meanwhile runs late, as it would behind a blocked main thread.
class VirtualQueue : public MainQueue {
public:
    /// `now` is borrowed: the virtual seconds that the test's other parts read, too.
    explicit VirtualQueue(double& now) : now_(now) {}

    void post(Task task) override { postAfter(0, std::move(task)); }
    void postAfter(double seconds, Task task) override { add(later(now_, seconds), std::move(task)); }

    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override {
        auto state =
            std::make_shared<TimerState>(TimerState{later(now_, interval), interval, repeats, std::move(onFire)});
        arm(state);
        ++liveTimers_;
        return std::make_unique<VirtualTimer>(*this, state);
    }

    bool isCurrent() const override { return true; }

    /// Lets `seconds` pass and runs what falls due, in order.
    void runFor(double seconds) {
        const double end = later(now_, seconds);
        while (!tasks_.empty() && tasks_.begin()->first.first <= end) {
            auto next = tasks_.extract(tasks_.begin());
            now_ = std::max(now_, next.key().first);
            next.mapped()();
        }
        now_ = std::max(now_, end);
    }

    /// Runs what is due at this moment.
    void runReady() { runFor(0); }

    /// Tasks that wait, timers among them.
    std::size_t pendingTasks() const { return tasks_.size(); }

    /// Timers that exist, whether or not they will fire again.
    int liveTimers() const { return liveTimers_; }

private:
    struct TimerState {
        double due;
        double interval;
        bool repeats;
        Task onFire; ///< Empty once invalidated or spent.
    };

    class VirtualTimer : public Timer {
    public:
        VirtualTimer(VirtualQueue& queue, std::shared_ptr<TimerState> state)
            : queue_(queue), state_(std::move(state)) {}
        ~VirtualTimer() override {
            state_->onFire = nullptr;
            --queue_.liveTimers_;
        }
        void invalidate() override { state_->onFire = nullptr; }

    private:
        VirtualQueue& queue_;
        std::shared_ptr<TimerState> state_;
    };

    /// To whole microseconds, so that 7.999 s and 0.001 s are 8 s.
    static double later(double time, double seconds) { return std::round((time + seconds) * 1e6) / 1e6; }

    void add(double due, Task task) { tasks_.emplace(std::pair(due, sequence_++), std::move(task)); }

    void arm(const std::shared_ptr<TimerState>& state) {
        add(state->due, [this, state] { fire(state); });
    }

    void fire(const std::shared_ptr<TimerState>& state) {
        if (!state->onFire)
            return;
        const auto onFire = state->onFire; // the handler may invalidate its timer
        if (!state->repeats)
            state->onFire = nullptr;
        onFire();
        if (!state->onFire)
            return;
        do
            state->due = later(state->due, state->interval);
        while (state->due <= now_);
        arm(state);
    }

    double& now_;
    std::map<std::pair<double, std::uint64_t>, Task> tasks_; ///< By due time, then by order of posting.
    std::uint64_t sequence_ = 0;
    int liveTimers_ = 0;
};

} // namespace kelo
