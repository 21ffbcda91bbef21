#include "platform/posix/NonBlockingWriter.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string>

namespace kelo {
namespace {

FileDescriptor openedWithOwnFlags(const std::string& path) {
    FileDescriptor own(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    // A system that only duplicates what is open ignores the flag.
    return own.isValid() && (fcntl(own.get(), F_GETFL) & O_NONBLOCK) != 0 ? std::move(own) : FileDescriptor();
}

FileDescriptor openedOnceMore(int descriptor) {
    std::array<char, PATH_MAX> terminal{};
    if (ttyname_r(descriptor, terminal.data(), terminal.size()) == 0)
        return openedWithOwnFlags(terminal.data());
    return openedWithOwnFlags("/dev/fd/" + std::to_string(descriptor));
}

} // namespace

NonBlockingWriter::NonBlockingWriter(int descriptor) : shared_(descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0)
        return;
    if (S_ISSOCK(status.st_mode)) {
        way_ = Way::perCall;
    } else if (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)) {
        own_ = openedOnceMore(descriptor);
        way_ = own_.isValid() ? Way::ownDescription : Way::whatHasRoom;
    }
}

ssize_t NonBlockingWriter::write(std::string_view bytes) const {
    switch (way_) {
    case Way::perCall:
        return send(shared_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    case Way::ownDescription:
        return ::write(own_.get(), bytes.data(), bytes.size());
    case Way::whatHasRoom:
        return writeWhatHasRoom(bytes);
    case Way::asIs:
        break;
    }
    return ::write(shared_, bytes.data(), bytes.size());
}

ssize_t NonBlockingWriter::writeWhatHasRoom(std::string_view bytes) const {
    pollfd room{.fd = shared_, .events = POLLOUT, .revents = 0};
    if (poll(&room, 1, 0) != 1) {
        errno = EAGAIN;
        return -1;
    }
    // No system calls a pipe writable that has less room than this.
    return ::write(shared_, bytes.data(), std::min<std::size_t>(bytes.size(), _POSIX_PIPE_BUF));
}

} // namespace kelo
