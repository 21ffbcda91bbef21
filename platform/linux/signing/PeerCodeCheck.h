#pragma once

#include <optional>
#include <string>
#include <utility>

#include "platform/linux/signing/InstalledAnchor.h"

namespace kelo {

class PeerProcess;

/// Decides whether the process at the other end of a Unix socket runs an executable that satisfies a requirement.
///
/// It tells the right program from a wrong one. What it cannot do, where a Mac can, is keep out somebody who means
/// harm. The socket is open to every user, and only when the helper is not root are others than its own cut off, since
/// it may not look at their processes:
/// - The executable is the one that runs at the moment of the check. A process can replace its image (exec) before it
///   and be judged by the new one, or after it and keep the connection under the old one's name.
/// - A process that was admitted can hand its socket to another one, which then speaks in its name.
/// - A signature covers the executable's file: neither the libraries it loads, nor what LD_PRELOAD or a debugger puts
///   into the process. Every user can start the signed program so, and have it say what they like.
/// - A process in another user namespace is cut off, since whoever is the superuser there can name any file as their
///   executable. One in ours that shares its memory with a process in such a namespace (clone with CLONE_VM) has its
///   executable named for it in the same way, and nothing that the kernel tells shows it.
/// Good enough for what stands behind it: a simulated Mac has no fan to protect.
class PeerCodeCheck {
public:
    /// With an anchor that is not trusted, nobody satisfies any requirement.
    explicit PeerCodeCheck(InstalledAnchor anchor) : anchor_(std::move(anchor)) {}

    /// None when the peer of the connected socket satisfies the requirement; else why not, one English sentence. A
    /// requirement that does not parse is satisfied by nobody. Reads the peer's whole executable when everything else
    /// about its signature is right. Any thread.
    std::optional<std::string> check(int socket, const std::string& requirement) const;

    /// As above, for a peer that has been identified already.
    std::optional<std::string> check(const PeerProcess& peer, const std::string& requirement) const;

private:
    const InstalledAnchor anchor_;
};

} // namespace kelo
