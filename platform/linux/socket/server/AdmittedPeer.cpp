#include "platform/linux/socket/server/AdmittedPeer.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <string>
#include <utility>

#include "platform/posix/FileStatus.h"

namespace kelo {
namespace {

FileDescriptor folderOf(pid_t process) {
    return FileDescriptor(open(("/proc/" + std::to_string(process)).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

/// The executable that the process with this folder runs now, which may have no name any more.
std::optional<FileIdentity> executableIn(const FileDescriptor& folder) {
    struct stat status = {};
    if (fstatat(folder.get(), "exe", &status, 0) != 0)
        return std::nullopt;
    return identityOf(status);
}

} // namespace

std::optional<AdmittedPeer> AdmittedPeer::of(int socket) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        return std::nullopt;
    auto folder = folderOf(credentials.pid);
    const auto executable = executableIn(folder);
    if (!executable)
        return std::nullopt;
    return AdmittedPeer(credentials.pid, credentials.uid, std::move(folder), *executable);
}

bool AdmittedPeer::hasSent(pid_t sender) const { return sender == process_ && executableIn(folder_) == executable_; }

} // namespace kelo
