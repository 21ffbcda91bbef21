#include "platform/posix/StandardStreams.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace kelo {

namespace {

constexpr int patience = 200; // milliseconds

bool isClosed(int descriptor) { return fcntl(descriptor, F_GETFD) == -1 && errno == EBADF; }

} // namespace

void StandardStreams::prepare() {
    // In ascending order: open takes the lowest number that is free.
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        if (isClosed(descriptor))
            open("/dev/null", O_RDWR); // fails only where nothing can be done about it
    std::signal(SIGPIPE, SIG_IGN);
}

void StandardStreams::writeError(const std::string& bytes) {
    // The log comes before the deed: without a limit, whoever stops reading would keep the fans from being handed back.
    pollfd standardError{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
    if (poll(&standardError, 1, patience) == 0)
        return;
    const auto written = write(STDERR_FILENO, bytes.data(), bytes.size());
    static_cast<void>(written);
}

} // namespace kelo
