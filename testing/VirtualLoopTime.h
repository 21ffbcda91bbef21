#pragma once

#include <sys/epoll.h>

#include "platform/linux/loop/EventLoop.h"

namespace kelo {

/// Time that passes only while a loop waits and nothing is ready; such a wait ends at once. For one loop, on its
/// thread.
class VirtualLoopTime : public LoopTime {
public:
    Clock::time_point now() const override { return now_; }

    int wait(int epoll, epoll_event* events, int capacity, int milliseconds) override {
        const int count = epoll_wait(epoll, events, capacity, milliseconds < 0 ? -1 : 0);
        if (count == 0)
            pass(std::chrono::milliseconds(milliseconds));
        return count;
    }

    void pass(Clock::duration time) { now_ += time; }

private:
    Clock::time_point now_;
};

} // namespace kelo
