#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "core/queue/MainQueue.h"

namespace kelo {

/// The main queue in virtual time: nothing runs until the test lets time pass.
///
/// Time also passes when a task sleeps; tasks that become due meanwhile run late, as they would behind a blocked main
/// thread. Belongs to the thread that created it; other threads may post while no time passes.
class VirtualQueue : public MainQueue {
public:
    /// `now` is borrowed: the virtual time in seconds, shared with the other parts of the test.
    explicit VirtualQueue(double& now) : now_(now) {}

    void postPrepared(Tasks tasks) noexcept override {
        for (auto& task : tasks)
            VirtualQueue::postAfter(0, std::move(task));
    }
    void postAfter(double seconds, Task task) override {
        add(later(now_, seconds > 0 ? seconds : 0), [this, task = std::move(task)] { run(task); });
    }

    /// Like `post`, but the task runs before all waiting tasks, as does a system message that arrived while the main
    /// thread was busy.
    void postFirst(const Task& task) {
        add(-std::numeric_limits<double>::infinity(), [this, task] { run(task); });
    }

    [[nodiscard]] std::unique_ptr<Timer> scheduleTimer(double interval, bool repeats, Task onFire) override {
        auto state =
            std::make_shared<TimerState>(TimerState{later(now_, interval), interval, repeats, std::move(onFire)});
        arm(state);
        ++liveTimers_;
        return std::make_unique<VirtualTimer>(*this, state);
    }

    bool isCurrent() const override { return std::this_thread::get_id() == owner_; }

    /// Lets `seconds` pass and runs tasks as they become due, in order.
    void runFor(double seconds) {
        const double end = later(now_, seconds);
        while (!isStopped_) {
            const auto next = takeDueBy(end);
            now_ = std::max(now_, next ? next->first.first : end);
            if (!next)
                return;
            next->second();
        }
    }

    /// Runs no further task and stops the time, as if the process had exited.
    void stop() { isStopped_ = true; }

    void runReady() { runFor(0); }

    /// The number of waiting tasks, including timers.
    std::size_t pendingTasks() const {
        const std::lock_guard lock(mutex_);
        return tasks_.size();
    }

    /// The number of existing timers, including those that will not fire again.
    int liveTimers() const { return liveTimers_; }

protected:
    /// Calls a task or the handler of a timer.
    virtual void run(const Task& task) { task(); }

private:
    /// Sorts tasks by due time, then by order of posting.
    using Waiting = std::map<std::pair<double, std::uint64_t>, Task>;

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

    /// Rounds to whole microseconds, so that 7.999 s and 0.001 s add up to 8 s.
    static double later(double time, double seconds) { return std::round((time + seconds) * 1e6) / 1e6; }

    void add(double due, Task task) {
        const std::lock_guard lock(mutex_);
        tasks_.emplace(std::pair(due, sequence_++), std::move(task));
    }

    std::optional<std::pair<Waiting::key_type, Task>> takeDueBy(double end) {
        const std::lock_guard lock(mutex_);
        if (tasks_.empty() || tasks_.begin()->first.first > end)
            return std::nullopt;
        auto next = tasks_.extract(tasks_.begin());
        return std::pair(next.key(), std::move(next.mapped()));
    }

    void arm(const std::shared_ptr<TimerState>& state) {
        add(state->due, [this, state] { fire(state); });
    }

    void fire(const std::shared_ptr<TimerState>& state) {
        if (!state->onFire)
            return;
        const auto onFire = state->onFire; // the handler may invalidate its timer
        if (!state->repeats)
            state->onFire = nullptr;
        run(onFire);
        if (!state->onFire)
            return;
        do
            state->due = later(state->due, state->interval);
        while (state->due <= now_);
        arm(state);
    }

    double& now_;
    const std::thread::id owner_ = std::this_thread::get_id();
    mutable std::mutex mutex_; ///< Guards `tasks_` and `sequence_`.
    Waiting tasks_;
    std::uint64_t sequence_ = 0;
    int liveTimers_ = 0;
    bool isStopped_ = false;
};

} // namespace kelo
