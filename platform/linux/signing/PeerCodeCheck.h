#pragma once

#include <optional>
#include <string>
#include <utility>

#include "platform/linux/signing/TrustAnchor.h"

namespace kelo {

class PeerProcess;

/// Decides whether the process at the other end of a Unix socket runs an executable that satisfies a requirement.
///
/// The check detects a wrong program but, unlike the check on a Mac, does not keep out an attacker. Every user may
/// connect to the socket. Only a helper that is not root cuts off other users, since it may not inspect their
/// processes. Limits of the check:
/// - It checks the executable that runs at the time of the check, even if the process replaced its image (exec) just
///   before. `AdmittedPeer` covers the time after the check.
/// - A signature covers the executable's file, not the libraries that it loads, nor code injected by LD_PRELOAD or a
///   debugger. So any user can make the signed program send any request.
/// - A process in another user namespace is cut off, since its superuser can make the kernel report any file as its
///   executable. The same attack works on a process in our namespace that shares its memory with a process in such a
///   namespace (clone with CLONE_VM), and the kernel does not report this.
/// The check is enough here: a simulated Mac has no fan to protect.
class PeerCodeCheck {
public:
    /// If the anchor is not trusted, no peer satisfies any requirement.
    explicit PeerCodeCheck(InstalledAnchor anchor) : anchor_(std::move(anchor)) {}

    /// Returns nullopt if the peer of the connected socket satisfies the requirement, otherwise the reason in one
    /// English sentence. No peer satisfies a requirement that does not parse. Reads the peer's whole executable if the
    /// rest of its signature is valid. Any thread.
    std::optional<std::string> check(int socket, const std::string& requirement) const;

    /// Like the other `check`, but for a peer that has already been identified.
    std::optional<std::string> check(const PeerProcess& peer, const std::string& requirement) const;

private:
    const InstalledAnchor anchor_;
};

} // namespace kelo
