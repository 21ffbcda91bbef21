#pragma once

#include <sys/types.h>

#include <optional>
#include <utility>

#include "core/watch/FileEvents.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The process at the other end of a connection, as it was when it connected.
///
/// A socket may be passed to another process, or stay open when its process executes a different program. In both
/// cases, the sender does not count as the admitted peer. Changes that a debugger makes in the process are not
/// detected.
class AdmittedPeer {
public:
    /// Call it before checking the peer's signature: from this call on, the peer must run the same executable. Returns
    /// nullopt if the peer has exited or no descriptor is left.
    static std::optional<AdmittedPeer> of(int socket);

    pid_t process() const { return process_; }
    uid_t user() const { return user_; }

    /// Returns whether `sender` is this peer and still runs the same executable. An exiting process has no executable
    /// and is accepted.
    bool hasSent(pid_t sender) const;

    /// Becomes readable when the process has ended, even if a child still has its socket.
    int pidfd() const { return pidfd_.get(); }
    bool hasEnded() const;

private:
    AdmittedPeer(pid_t process, uid_t user, FileDescriptor pidfd, FileDescriptor folder, FileIdentity executable)
        : process_(process), user_(user), pidfd_(std::move(pidfd)), folder_(std::move(folder)),
          executable_(executable) {}

    pid_t process_;
    uid_t user_;
    FileDescriptor pidfd_;  ///< Refers to this process even if its id is reused.
    FileDescriptor folder_; ///< The folder of this process in /proc.
    FileIdentity executable_;
};

} // namespace kelo
