#include "platform/linux/socket/server/AdmittedPeer.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "platform/posix/FileStatus.h"

namespace kelo {
namespace {

#ifdef SO_PEERPIDFD
constexpr int peerPidfdOption = SO_PEERPIDFD;
#else
constexpr int peerPidfdOption = 77; // the value everywhere but on PA-RISC and SPARC; Debian 12's headers lack it
#endif

/// By its number on kernels before 6.5, which do not keep it with the socket.
FileDescriptor pidfdOf(int socket, pid_t process) {
    int pidfd = -1;
    socklen_t size = sizeof pidfd;
    if (getsockopt(socket, SOL_SOCKET, peerPidfdOption, &pidfd, &size) == 0)
        return FileDescriptor(pidfd);
    return FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0U)));
}

/// The executable that the process runs now, which may have no name any more.
std::optional<FileIdentity> executableOf(pid_t process) {
    struct stat status = {};
    if (stat(("/proc/" + std::to_string(process) + "/exe").c_str(), &status) != 0)
        return std::nullopt;
    return identityOf(status);
}

} // namespace

std::optional<AdmittedPeer> AdmittedPeer::of(int socket) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        return std::nullopt;
    auto pidfd = pidfdOf(socket, credentials.pid);
    const auto executable = executableOf(credentials.pid);
    if (!pidfd.isValid() || !executable)
        return std::nullopt;
    AdmittedPeer peer(credentials.pid, credentials.uid, std::move(pidfd), *executable);
    return peer.hasEnded() ? std::nullopt
                           : std::optional(std::move(peer)); // only now is it certain whose executable it was
}

bool AdmittedPeer::hasSent(pid_t sender) const {
    if (sender != process_)
        return false;
    const auto executable = executableOf(process_);
    const bool hasNone = !executable && (errno == ENOENT || errno == ESRCH);
    return hasNone || (executable == executable_ && !hasEnded());
}

bool AdmittedPeer::hasEnded() const {
    pollfd process{.fd = pidfd_.get(), .events = POLLIN, .revents = 0};
    return poll(&process, 1, 0) != 0; // a failure does not mean that it lives
}

} // namespace kelo
