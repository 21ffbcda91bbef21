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
    // Some systems do not open the file again: they duplicate the open file description and ignore O_NONBLOCK.
    return own.isValid() && (fcntl(own.get(), F_GETFL) & O_NONBLOCK) != 0 ? std::move(own) : FileDescriptor();
}

FileDescriptor reopened(int descriptor) {
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
        method_ = Method::messageFlag;
    } else if (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)) {
        own_ = reopened(descriptor);
        method_ = own_.isValid() ? Method::reopened : Method::poll;
    }
}

ssize_t NonBlockingWriter::write(std::string_view bytes) const {
    switch (method_) {
    case Method::messageFlag:
        return send(shared_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    case Method::reopened:
        return ::write(own_.get(), bytes.data(), bytes.size());
    case Method::poll:
        return writeAfterPoll(bytes);
    case Method::direct:
        break;
    }
    return ::write(shared_, bytes.data(), bytes.size());
}

ssize_t NonBlockingWriter::writeAfterPoll(std::string_view bytes) const {
    pollfd room{.fd = shared_, .events = POLLOUT, .revents = 0};
    if (poll(&room, 1, 0) != 1) {
        errno = EAGAIN;
        return -1;
    }
    // poll reports a pipe as writable only if the pipe has room for at least _POSIX_PIPE_BUF bytes.
    return ::write(shared_, bytes.data(), std::min<std::size_t>(bytes.size(), _POSIX_PIPE_BUF));
}

} // namespace kelo
