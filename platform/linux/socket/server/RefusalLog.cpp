#include "platform/linux/socket/server/RefusalLog.h"

#include <utility>

#include "core/queue/MainQueue.h"

namespace kelo {

RefusalLog::RefusalLog(MainQueue& queue, std::function<void(const std::string&)> write)
    : queue_(queue), write_(std::move(write)) {}

void RefusalLog::add(const std::string& reason) {
    if (++refusals_ == 1)
        queue_.postAfter(period, [this] { endPeriod(); });
    if (refusals_ <= maximumLines)
        write_(reason);
}

void RefusalLog::endPeriod() {
    const int leftOut = std::exchange(refusals_, 0) - maximumLines;
    if (leftOut > 0)
        write_(std::to_string(leftOut) + " more peers were cut off in the last 10 seconds.");
}

} // namespace kelo
