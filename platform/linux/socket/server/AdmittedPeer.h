#pragma once

#include <sys/types.h>

#include <optional>
#include <utility>

#include "core/watch/FileEvents.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The process at the other end of a connection, as it was when it connected.
///
/// A socket may be passed to another process, or stay open when its process runs another executable; neither is the
/// peer that was admitted. What a debugger does to the process itself is not detected.
class AdmittedPeer {
public:
    /// To be called before the peer's signature is checked: from here on it must keep running the same executable. None
    /// when the peer has gone, or no descriptor is left.
    static std::optional<AdmittedPeer> of(int socket);

    pid_t process() const { return process_; }
    uid_t user() const { return user_; }

    /// Whether a message from `sender` comes from this peer. As long as it has an executable it must be the same one; a
    /// process has none any more from the moment in which it begins to end.
    bool hasSent(pid_t sender) const;

    /// Readable once the process has ended. A child that has its socket may live on.
    int pidfd() const { return pidfd_.get(); }
    bool hasEnded() const;

private:
    AdmittedPeer(pid_t process, uid_t user, FileDescriptor pidfd, FileDescriptor folder, FileIdentity executable)
        : process_(process), user_(user), pidfd_(std::move(pidfd)), folder_(std::move(folder)),
          executable_(executable) {}

    pid_t process_;
    uid_t user_;
    FileDescriptor pidfd_;  ///< Of this process, even when another one has its number.
    FileDescriptor folder_; ///< Below /proc, of this process only.
    FileIdentity executable_;
};

} // namespace kelo
