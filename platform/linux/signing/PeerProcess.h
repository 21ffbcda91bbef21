#pragma once

#include <sys/types.h>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The process at the other end of a connected Unix socket: the process that called connect() or created the pair.
///
/// Identified by a pidfd, since a process id may belong to another process by the time it is used. All members throw
/// `SignatureRefused` if the process has exited or cannot be identified.
class PeerProcess {
public:
    /// Gets the pidfd that the kernel stores with the socket (since Linux 6.5). On older kernels, calls
    /// `ofSocketByNumber`.
    static PeerProcess ofSocket(int socket);

    /// Gets the peer's process id from the socket and opens a pidfd for it. If the peer has not hung up afterwards, it
    /// was alive throughout, so the id belongs to it. The exception is a peer that has passed the socket to another
    /// process and exited: older kernels do not report that.
    static PeerProcess ofSocketByNumber(int socket);

    /// Opens the process's current executable for reading. Refuses a leased file (fcntl's F_SETLEASE) instead of
    /// waiting. Also throws if the process is in another user namespace, or if its namespace is unknown: as the
    /// superuser of another namespace, a process can make the kernel report any file as its executable.
    FileDescriptor openExecutable() const;

private:
    explicit PeerProcess(FileDescriptor pidfd) : pidfd_(std::move(pidfd)) {}

    pid_t number() const;
    bool hasExited() const;

    FileDescriptor pidfd_;
};

} // namespace kelo
