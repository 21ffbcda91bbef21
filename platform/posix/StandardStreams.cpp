#include "platform/posix/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <mutex>

#include "platform/posix/PendingLines.h"

namespace kelo {
namespace {

struct StandardError {
    std::mutex mutex; ///< Guards the lines, so that lines from different threads do not mix.
    PendingLines lines{STDERR_FILENO};
};

/// The object is never destroyed, since threads may still log while the process ends.
StandardError& standardError() {
    static auto& one = *new StandardError;
    static const int registered = std::atexit(StandardStreams::finish);
    static_cast<void>(registered); // fails only when memory has run out; pending lines are then lost
    return one;
}

bool isClosed(int descriptor) { return fcntl(descriptor, F_GETFD) == -1 && errno == EBADF; }

} // namespace

void StandardStreams::prepare() {
    // Opens the descriptors in ascending order, since open uses the lowest free descriptor.
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        if (isClosed(descriptor))
            open("/dev/null", O_RDWR); // a failure cannot be handled
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGTTOU, SIGTTIN, SIGTSTP})
        std::signal(signal, SIG_IGN);
}

void StandardStreams::writeError(const std::string& bytes) {
    auto& [mutex, lines] = standardError();
    const std::lock_guard lock(mutex);
    lines.flush(); // makes room
    lines.add(bytes);
    lines.flush();
}

void StandardStreams::finish() {
    auto& [mutex, lines] = standardError();
    const std::lock_guard lock(mutex);
    lines.finish();
}

} // namespace kelo
