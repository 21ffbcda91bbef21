#include "platform/linux/socket/server/AdmittedPeer.h"

#include <sys/socket.h>

#include <string>

#include "platform/posix/FileStatus.h"

namespace kelo {
namespace {

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
    const auto executable = executableOf(credentials.pid);
    if (!executable)
        return std::nullopt;
    return AdmittedPeer(credentials.pid, credentials.uid, *executable);
}

bool AdmittedPeer::hasSent(pid_t sender) const { return sender == process_ && executableOf(process_) == executable_; }

} // namespace kelo
