#include "platform/linux/signing/PeerProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>

#include "platform/linux/signing/SignatureRefused.h"

namespace kelo {
namespace {

#ifdef SO_PEERPIDFD
constexpr int peerPidfdOption = SO_PEERPIDFD;
#else
constexpr int peerPidfdOption = 77; // SO_PEERPIDFD, which Debian 12's headers lack; differs only on PA-RISC and SPARC
#endif

constexpr const char* hasEnded = "The peer has ended.";

std::string reasonOf(int error) { return std::generic_category().message(error); }

/// Before version 2.37, the C library's pidfd_open cannot be linked from C++.
int openPidfd(pid_t process) { return static_cast<int>(::syscall(SYS_pidfd_open, process, 0U)); }

template <typename Value>
bool readOption(int socket, int option, Value& value) {
    socklen_t size = sizeof value;
    return ::getsockopt(socket, SOL_SOCKET, option, &value, &size) == 0 && size == sizeof value;
}

/// Returns whether one of `events`, a hang-up or an error is pending.
bool polls(int descriptor, short events) {
    pollfd entry{descriptor, events, 0};
    int count = 0;
    do
        count = ::poll(&entry, 1, 0);
    while (count < 0 && errno == EINTR); // a signal may interrupt the call even though it does not wait
    return count != 0;                   // a failure counts as an event, since the state is then unknown
}

std::optional<bool> isInOurUserNamespace(pid_t process) {
    struct stat ours {};
    struct stat theirs {};
    const auto path = "/proc/" + std::to_string(process) + "/ns/user";
    if (::stat("/proc/self/ns/user", &ours) != 0 || ::stat(path.c_str(), &theirs) != 0)
        return std::nullopt;
    return ours.st_dev == theirs.st_dev && ours.st_ino == theirs.st_ino;
}

} // namespace

PeerProcess PeerProcess::ofSocket(int socket) {
    int pidfd = -1;
    if (readOption(socket, peerPidfdOption, pidfd))
        return PeerProcess(FileDescriptor(pidfd));
    if (errno == ENOPROTOOPT)
        return ofSocketByNumber(socket);
    throw SignatureRefused("The socket does not identify its peer (" + reasonOf(errno) + ").");
}

PeerProcess PeerProcess::ofSocketByNumber(int socket) {
    ucred credentials{};
    if (!readOption(socket, SO_PEERCRED, credentials))
        throw SignatureRefused("The socket does not identify its peer (" + reasonOf(errno) + ").");
    FileDescriptor pidfd(openPidfd(credentials.pid));
    if (!pidfd.isValid() && errno == ESRCH)
        throw SignatureRefused(hasEnded);
    if (!pidfd.isValid())
        throw SignatureRefused("The peer's process cannot be opened (" + reasonOf(errno) + ").");
    if (polls(socket, 0)) // without events, only a hang-up or an error is reported
        throw SignatureRefused("The peer has hung up.");
    return PeerProcess(std::move(pidfd));
}

FileDescriptor PeerProcess::openExecutable() const {
    const auto process = number();
    const auto path = "/proc/" + std::to_string(process) + "/exe";
    // Without O_NONBLOCK, open would wait for up to 45 seconds if a process has a lease on the file. That process could
    // be the peer itself.
    FileDescriptor executable(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    const auto error = errno;
    // Checked after the executable was opened: a process cannot return from another namespace, so if it is in our
    // namespace now, it already was when the executable was opened.
    const auto isOurs = isInOurUserNamespace(process);
    // An id is not reused before its process exits. So if the process is still running, the executable is its own.
    if (hasExited())
        throw SignatureRefused(hasEnded);
    if (error == EWOULDBLOCK && !executable.isValid())
        throw SignatureRefused("The peer's executable is leased by a process that would have to release it first.");
    if (!executable.isValid())
        throw SignatureRefused("The peer's executable cannot be opened (" + reasonOf(error) + ").");
    if (!isOurs)
        throw SignatureRefused("The peer's user namespace is unknown.");
    if (!*isOurs)
        throw SignatureRefused("The peer runs in another user namespace, where it may forge its executable.");
    return executable;
}

pid_t PeerProcess::number() const {
    std::ifstream information("/proc/self/fdinfo/" + std::to_string(pidfd_.get()));
    for (std::string word; information >> word;) {
        if (word != "Pid:")
            continue;
        pid_t number = 0;
        information >> number;
        if (number > 0)
            return number;
        throw SignatureRefused(number < 0 ? hasEnded : "The peer's process is not visible in this PID namespace.");
    }
    throw SignatureRefused("The peer's process id cannot be read from its descriptor.");
}

bool PeerProcess::hasExited() const { return polls(pidfd_.get(), POLLIN); }

} // namespace kelo
