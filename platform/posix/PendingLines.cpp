#include "platform/posix/PendingLines.h"

#include <poll.h>

#include <cerrno>
#include <utility>

#include "platform/posix/NonBlockingWriter.h"

namespace kelo {
namespace {

constexpr int slowReaderTimeout = 200; // milliseconds

bool hasNoRoom(int error) { return error == EAGAIN || error == ENOBUFS || error == EINTR; }

} // namespace

void PendingLines::add(const std::string& line) {
    if (line.empty())
        return;
    if (!lines_.empty() && bytes_ + line.size() > capacity) {
        ++leftOut_;
        return;
    }
    reportLeftOut();
    push(line);
}

void PendingLines::flush() {
    if (lines_.empty())
        return;
    const NonBlockingWriter writer(descriptor_);
    while (!lines_.empty()) {
        const auto& line = lines_.front();
        const auto written = writer.write(line);
        if (written == 0 || (written < 0 && hasNoRoom(errno)))
            return;
        removeFromFirst(written < 0 ? line.size() : static_cast<std::size_t>(written));
    }
}

void PendingLines::finish() {
    reportLeftOut();
    flush();
    if (lines_.empty())
        return;
    pollfd reader{.fd = descriptor_, .events = POLLOUT, .revents = 0};
    poll(&reader, 1, slowReaderTimeout);
    flush();
}

void PendingLines::reportLeftOut() {
    if (leftOut_ > 0)
        push("Lines left out here: " + std::to_string(std::exchange(leftOut_, 0)) + "\n");
}

void PendingLines::push(std::string line) {
    bytes_ += line.size();
    lines_.push_back(std::move(line));
}

void PendingLines::removeFromFirst(std::size_t bytes) {
    bytes_ -= bytes;
    lines_.front().erase(0, bytes);
    if (lines_.front().empty())
        lines_.pop_front();
}

} // namespace kelo
