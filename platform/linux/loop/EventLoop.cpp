#include "platform/linux/loop/EventLoop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <limits>
#include <utility>

#include "platform/posix/Containment.h"
#include "platform/posix/Errno.h"

namespace kelo {
namespace {

constexpr std::uint64_t wakeID = 0;

FileDescriptor checked(int descriptor, const char* what) {
    if (descriptor < 0)
        throwErrno(what);
    return FileDescriptor(descriptor);
}

class RealTime : public LoopTime {
public:
    Clock::time_point now() const override { return Clock::now(); }
    int wait(int epoll, epoll_event* events, int capacity, int milliseconds) override {
        return epoll_wait(epoll, events, capacity, milliseconds);
    }
};

/// Limits `seconds` to a century; negative values and NaN become 0.
std::chrono::steady_clock::duration clamped(double seconds) {
    constexpr double century = 100.0 * 365 * 86400;
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(std::fmin(std::fmax(seconds, 0.0), century)));
}

} // namespace

LoopTime& LoopTime::real() {
    static RealTime time;
    return time;
}

class EventLoop::LoopTimer : public Timer {
public:
    explicit LoopTimer(std::shared_ptr<TimerState> state) : state_(std::move(state)) {}
    const std::shared_ptr<TimerState>& state() const { return state_; }
    ~LoopTimer() override { state_->onFire = nullptr; }
    void invalidate() override { state_->onFire = nullptr; }

private:
    std::shared_ptr<TimerState> state_;
};

class EventLoop::Watch : public DescriptorWatch {
public:
    Watch(EventLoop& loop, std::uint64_t interestID, Readiness readiness)
        : loop_(loop), interestID_(interestID), readiness_(readiness) {}
    ~Watch() override { loop_.unwatch(interestID_, readiness_); }

private:
    EventLoop& loop_;
    std::uint64_t interestID_;
    Readiness readiness_;
};

EventLoop::EventLoop(LoopTime& time)
    : time_(time), epoll_(checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      wake_(checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")), owner_(std::this_thread::get_id()) {
    epoll_event event{};
    event.events = EPOLLIN | EPOLLET; // edge-triggered, so that the counter need not be read
    event.data.u64 = wakeID;
    if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, wake_.get(), &event) != 0)
        throwErrno("epoll_ctl");
}

EventLoop::~EventLoop() = default;

void EventLoop::postPrepared(Tasks tasks) noexcept {
    {
        const std::lock_guard lock(mutex_);
        posted_.splice(posted_.end(), tasks);
    }
    wakeUp();
}

void EventLoop::postAfter(double seconds, Task task) {
    const auto due = time_.now() + clamped(seconds);
    // Allocates the timer here, so that the caller notices a failure. The loop's thread only moves it.
    const auto made = std::make_shared<Timers>();
    made->emplace(due, std::make_shared<TimerState>(
                           TimerState{due, {}, false, false, std::make_shared<const Task>(std::move(task))}));
    post([this, made] { timers_.merge(*made); });
}

std::unique_ptr<Timer> EventLoop::scheduleTimer(double interval, bool repeats, Task onFire) {
    // A repeating timer with a zero interval would starve everything else.
    const auto period = std::max(clamped(interval), Clock::duration(std::chrono::microseconds(100)));
    const auto due = time_.now() + period;
    auto timer = std::make_unique<LoopTimer>(std::make_shared<TimerState>(
        TimerState{due, period, repeats, !repeats, std::make_shared<const Task>(std::move(onFire))}));
    timers_.emplace(due, timer->state());
    return timer;
}

std::unique_ptr<DescriptorWatch> EventLoop::watch(int descriptor, Readiness readiness, Task onReady) {
    auto found = interestIn(descriptor);
    const bool isNew = found == interests_.end();
    const auto interestID = isNew ? nextInterestID_++ : found->first;
    // If anything below fails, destroying the watch undoes the change.
    auto watch = std::make_unique<Watch>(*this, interestID, readiness);
    if (isNew)
        found = interests_.emplace(interestID, Interest{descriptor, nullptr, nullptr}).first;
    found->second.handler(readiness) = std::make_shared<Task>(std::move(onReady));
    if (!updateEpoll(isNew ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, *found))
        throwErrno("epoll_ctl");
    return watch;
}

std::unique_ptr<DescriptorWatch> EventLoop::watchUrgent(int descriptor, Task onReadable) {
    auto watch = this->watch(descriptor, Readiness::readable, std::move(onReadable));
    urgentPolls_.reserve(urgentPolls_.size() + 1); // so that either both vectors grow or neither does
    urgent_.push_back(interestIn(descriptor)->first);
    urgentPolls_.push_back({.fd = descriptor, .events = POLLIN, .revents = 0});
    return watch;
}

EventLoop::Interests::iterator EventLoop::interestIn(int descriptor) {
    return std::find_if(interests_.begin(), interests_.end(),
                        [&](const auto& interest) { return interest.second.descriptor == descriptor; });
}

bool EventLoop::updateEpoll(int operation, const Interests::value_type& interest) {
    const auto& [id, wanted] = interest;
    epoll_event event{};
    event.events = (wanted.onReadable ? static_cast<std::uint32_t>(EPOLLIN) : 0) |
                   (wanted.onWritable ? static_cast<std::uint32_t>(EPOLLOUT) : 0);
    event.data.u64 = id;
    return epoll_ctl(epoll_.get(), operation, wanted.descriptor, &event) == 0;
}

void EventLoop::unwatch(std::uint64_t interestID, Readiness readiness) {
    const auto found = interests_.find(interestID);
    if (found == interests_.end())
        return; // `watch` failed before it added the interest
    found->second.handler(readiness).reset();
    const bool isLast = !found->second.onReadable && !found->second.onWritable;
    // Fails only if the descriptor has been closed. A closed descriptor reports no more events.
    updateEpoll(isLast ? EPOLL_CTL_DEL : EPOLL_CTL_MOD, *found);
    if (!isLast)
        return;
    interests_.erase(found);
    if (const auto urgent = std::find(urgent_.begin(), urgent_.end(), interestID); urgent != urgent_.end()) {
        urgentPolls_.erase(urgentPolls_.begin() + (urgent - urgent_.begin()));
        urgent_.erase(urgent);
    }
}

void EventLoop::run() {
    owner_ = std::this_thread::get_id();
    while (!isStopped_) {
        std::array<epoll_event, 32> events;
        const int count =
            time_.wait(epoll_.get(), events.data(), static_cast<int>(events.size()), timeoutMilliseconds());
        if (count < 0 && errno != EINTR)
            throwErrno("epoll_wait");
        // A timer that becomes due while the tasks run fires in the next round, after the tasks that were posted before
        // it was due.
        const auto now = time_.now();
        runPosted();
        serveUrgentDescriptors();
        fireDueTimers(now, true);
        for (int i = 0; i < count && !isStopped_; ++i) {
            const auto& event = events[static_cast<std::size_t>(i)];
            // The handlers notice an error or hang-up when they read or write.
            if ((event.events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0)
                dispatch(event.data.u64, Readiness::readable);
            if ((event.events & (EPOLLOUT | EPOLLHUP | EPOLLERR)) != 0)
                dispatch(event.data.u64, Readiness::writable);
        }
    }
    isStopped_ = false;
}

void EventLoop::stop() {
    post([this] { isStopped_ = true; });
}

void EventLoop::wakeUp() {
    const std::uint64_t one = 1;
    const auto written = write(wake_.get(), &one, sizeof one);
    static_cast<void>(written); // fails only if the 64-bit counter overflows
}

/// Rounds up, so that the loop does not spin through the last millisecond before a timer.
int EventLoop::timeoutMilliseconds() {
    if (timers_.empty())
        return -1;
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first - time_.now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(wait, 0, std::numeric_limits<int>::max()));
}

void EventLoop::runPosted() {
    Tasks tasks;
    {
        const std::lock_guard lock(mutex_);
        tasks.swap(posted_);
    }
    for (auto& task : tasks) {
        serveUrgent();
        contain("a task of the event loop", task);
        task = nullptr; // destroys its captures before the next task runs
    }
}

/// Called before every task and handler, so that urgent work waits for at most one of them.
void EventLoop::serveUrgent() {
    serveUrgentDescriptors();
    fireDueTimers(time_.now(), false);
}

/// Fires the timers that are due. Unless `all`, skips those that must wait for tasks.
void EventLoop::fireDueTimers(Clock::time_point now, bool all) {
    const auto isNext = [&](const auto& entry) { return entry.first <= now && (all || !entry.second->waitsForTasks); };
    for (auto next = timers_.begin(); !isStopped_;) {
        next = std::find_if(timers_.begin(), timers_.end(), isNext);
        if (next == timers_.end())
            return;
        fire(timers_.extract(next));
        serveUrgentDescriptors();
    }
}

/// Reinserts a repeating timer with the same map node, so that nothing is allocated.
void EventLoop::fire(Timers::node_type entry) {
    const auto timer = entry.mapped();
    if (!timer->onFire)
        return;
    const auto onFire = timer->onFire; // the handler may invalidate its timer
    if (!timer->repeats)
        timer->onFire = nullptr;
    contain("a timer's handler", *onFire);
    if (!timer->onFire)
        return;
    const auto now = time_.now();
    do
        timer->due += timer->interval;
    while (timer->due <= now);
    entry.key() = timer->due;
    timers_.insert(std::move(entry));
}

void EventLoop::serveUrgentDescriptors() {
    if (urgentPolls_.empty() || poll(urgentPolls_.data(), urgentPolls_.size(), 0) <= 0)
        return;
    for (std::size_t i = 0; i < urgent_.size(); ++i) // a handler may destroy its watch
        if (std::exchange(urgentPolls_[i].revents, 0) != 0)
            callHandler(urgent_[i], Readiness::readable);
}

void EventLoop::dispatch(std::uint64_t interestID, Readiness readiness) {
    serveUrgent(); // may destroy the watch
    // Urgent descriptors have just been polled, so this event may be out of date.
    if (std::find(urgent_.begin(), urgent_.end(), interestID) == urgent_.end())
        callHandler(interestID, readiness);
}

void EventLoop::callHandler(std::uint64_t interestID, Readiness readiness) {
    const auto found = interests_.find(interestID);
    if (found == interests_.end())
        return; // the wake-up descriptor, or a watch that was destroyed while the event was pending
    const auto onReady = found->second.handler(readiness); // the handler may destroy its watch
    if (onReady)
        contain("the handler of a descriptor", *onReady);
}

} // namespace kelo
