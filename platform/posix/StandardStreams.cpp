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
    std::mutex mutex; ///< Guards the lines, so that those of different threads do not mix.
    PendingLines lines{STDERR_FILENO};
};

/// Never destroyed: threads may still log while the process ends.
StandardError& standardError() {
    static auto& one = *new StandardError;
    static const int registered = std::atexit(StandardStreams::finish);
    static_cast<void>(registered); // fails only without memory; pending lines are lost then
    return one;
}

bool isClosed(int descriptor) { return fcntl(descriptor, F_GETFD) == -1 && errno == EBADF; }

} // namespace

void StandardStreams::prepare() {
    // In ascending order: open takes the lowest number that is free.
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
