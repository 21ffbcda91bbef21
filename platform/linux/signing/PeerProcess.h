#pragma once

#include <sys/types.h>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The process at the other end of a connected Unix socket: the one that called connect(), or that made the pair.
///
/// Known by a pidfd, which stays with its process: a bare number may belong to another process by the time it is
/// looked at. All members throw `SignatureRefused` when the process is gone or cannot be told.
class PeerProcess {
public:
    /// Asks the socket for the pidfd that the kernel keeps with it (since Linux 6.5). Older kernels, which do not know
    /// the question, are asked as `ofSocketByNumber` does.
    static PeerProcess ofSocket(int socket);

    /// Asks the socket for the peer's number and opens a pidfd for it. That the peer has not hung up afterwards shows
    /// that it lived all the while and the number was its own; unless it has handed the socket to another process and
    /// ended, which an older kernel does not tell.
    static PeerProcess ofSocketByNumber(int socket);

    /// Opens the executable that the process runs now, for reading. Throws, too, when the process is not in our user
    /// namespace, or that cannot be told: in one of its own, where it is the superuser, a process can have the kernel
    /// name any other file as its executable.
    FileDescriptor openExecutable() const;

private:
    explicit PeerProcess(FileDescriptor pidfd) : pidfd_(std::move(pidfd)) {}

    pid_t number() const;
    bool hasExited() const;

    FileDescriptor pidfd_;
};

} // namespace kelo
