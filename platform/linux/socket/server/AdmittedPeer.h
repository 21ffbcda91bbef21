#pragma once

#include <sys/types.h>

#include <optional>

#include "core/watch/FileEvents.h"

namespace kelo {

/// The process at the other end of a connection, as it was when it came.
///
/// A socket may be handed to another process, or stay open when its process runs another executable; neither speaks in
/// the name of the one that was admitted. What a debugger of the same user does to the process itself goes unseen.
class AdmittedPeer {
public:
    /// To be asked before the peer's signature is checked: what it runs from here on has to stay the same. None when
    /// the peer has gone.
    static std::optional<AdmittedPeer> of(int socket);

    pid_t process() const { return process_; }
    uid_t user() const { return user_; }

    /// Whether what `sender` has sent comes from this peer, still running what it ran.
    bool hasSent(pid_t sender) const;

private:
    AdmittedPeer(pid_t process, uid_t user, FileIdentity executable)
        : process_(process), user_(user), executable_(executable) {}

    pid_t process_;
    uid_t user_;
    FileIdentity executable_;
};

} // namespace kelo
