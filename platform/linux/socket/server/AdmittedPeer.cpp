#include "platform/linux/socket/server/AdmittedPeer.h"

#include <fcntl.h>
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
constexpr int peerPidfdOption = 77; // SO_PEERPIDFD, which Debian 12's headers lack; differs only on PA-RISC and SPARC
#endif

/// Opens the pidfd by process id on kernels before 6.5, which do not store a pidfd with the socket.
FileDescriptor pidfdOf(int socket, pid_t process) {
    int pidfd = -1;
    socklen_t size = sizeof pidfd;
    if (getsockopt(socket, SOL_SOCKET, peerPidfdOption, &pidfd, &size) == 0)
        return FileDescriptor(pidfd);
    return FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0U)));
}

/// The /proc folder of the process that has this id now.
std::string folderOf(pid_t process) { return "/proc/" + std::to_string(process); }

/// Identifies the executable of a process, even if the executable has been deleted. `file` is the path from `folder` to
/// its "exe".
std::optional<FileIdentity> executableAt(int folder, const std::string& file) {
    struct stat status = {};
    if (fstatat(folder, file.c_str(), &status, 0) != 0)
        return std::nullopt;
    return identityOf(status);
}

/// Whether `executableAt` returned nullopt because the process has begun to exit.
bool isEnding() { return errno == ENOENT || errno == ESRCH; }

} // namespace

std::optional<AdmittedPeer> AdmittedPeer::of(int socket) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        return std::nullopt;
    auto pidfd = pidfdOf(socket, credentials.pid);
    FileDescriptor folder(open(folderOf(credentials.pid).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const auto executable = executableAt(folder.get(), "exe");
    if (!pidfd.isValid() || !executable)
        return std::nullopt;
    AdmittedPeer peer(credentials.pid, credentials.uid, std::move(pidfd), std::move(folder), *executable);
    // If the peer is still alive, the folder belongs to it and not to a later process with the same id.
    return peer.hasEnded() ? std::nullopt : std::optional(std::move(peer));
}

bool AdmittedPeer::hasSent(pid_t sender) const {
    if (sender != process_)
        return false;
    if (const auto executable = executableAt(folder_.get(), "exe"))
        return executable == executable_;
    // The executable is missing because the peer is exiting. Also checks the id's current process, to reject messages
    // from a later process with the same id.
    return isEnding() && !executableAt(AT_FDCWD, folderOf(process_) + "/exe") && isEnding();
}

bool AdmittedPeer::hasEnded() const {
    pollfd process{.fd = pidfd_.get(), .events = POLLIN, .revents = 0};
    return poll(&process, 1, 0) != 0; // a failure counts as ended
}

} // namespace kelo
