#pragma once

#include <sys/types.h>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The process at the other end of a connected Unix socket: the one that called connect(), or that made the pair.
///
/// Identified by a pidfd, which stays with its process: a process id alone may belong to another process by the time it
/// is used. All members throw `SignatureRefused` when the process is gone or cannot be identified.
class PeerProcess {
public:
    /// Asks the socket for the pidfd that the kernel keeps with it (since Linux 6.5). On older kernels, which lack the
    /// option, does the same as `ofSocketByNumber`.
    static PeerProcess ofSocket(int socket);

    /// Asks the socket for the peer's process id and opens a pidfd for it. That the peer has not hung up afterwards
    /// shows that it was alive all the time and the id was its own; unless it passed the socket to another process and
    /// ended, which an older kernel does not report.
    static PeerProcess ofSocketByNumber(int socket);

    /// Opens the executable that the process runs now, for reading, and never waits for a lease on it (fcntl's
    /// F_SETLEASE): refuses a leased one instead. Also throws when the process is not in our user
    /// namespace, or when that is unknown: in one of its own, where it is the superuser, a process can have the kernel
    /// name any other file as its executable.
    FileDescriptor openExecutable() const;

private:
    explicit PeerProcess(FileDescriptor pidfd) : pidfd_(std::move(pidfd)) {}

    pid_t number() const;
    bool hasExited() const;

    FileDescriptor pidfd_;
};

} // namespace kelo
