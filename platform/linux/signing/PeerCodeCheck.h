#pragma once

#include <optional>
#include <string>
#include <utility>

#include "platform/linux/signing/TrustAnchor.h"

namespace kelo {

class PeerProcess;

/// Decides whether the process at the other end of a Unix socket runs an executable that satisfies a requirement.
///
/// It distinguishes the right program from a wrong one. Unlike a Mac, it cannot keep out an attacker. The socket is
/// open to every user, and only a helper that is not root cuts off users other than its own, since it may not inspect
/// their processes:
/// - The executable is the one that runs at the moment of the check: a process that replaces its image (exec) before it
///   is judged by the new one. What happens after it is up to `AdmittedPeer`.
/// - A signature covers the executable's file: neither the libraries it loads, nor what LD_PRELOAD or a debugger puts
///   into the process. Every user can start the signed program so, and have it say what they like.
/// - A process in another user namespace is cut off, since the superuser there can name any file as their executable.
///   One in ours that shares its memory with a process in such a namespace (clone with CLONE_VM) has its executable
///   named for it in the same way, and nothing that the kernel reports shows it.
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
