#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// Sockets of Unix that keep the boundaries of messages (SOCK_SEQPACKET), named by a file in an open folder: the folder
/// may be moved and its path may be longer than a socket's address.
namespace unix_socket {

/// Listens at `name` in `folder`, taking the place of whoever listened there before. Anybody may connect. No step
/// follows a link that somebody else put there meanwhile. Throws `std::system_error`.
FileDescriptor listen(int folder, const std::string& name);

/// Takes the next connection, non-blocking; invalid when there is none, or no descriptor left for it (`errno` tells).
FileDescriptor accept(int listener);

/// Connects to whoever listens at `name` in `folder`; blocking. Whoever accepts nobody is waited for at most for
/// `timeout`, more than 0, which limits each sending over the socket, too. Invalid when nobody listens, nobody accepts
/// in time or there is no descriptor left (`errno` tells: ENOENT or ECONNREFUSED, EAGAIN, or another).
FileDescriptor connect(int folder, const std::string& name,
                       std::chrono::milliseconds timeout = std::chrono::seconds(10));

struct WouldBlock {};
struct Ended {}; ///< The peer has gone, or what it sent is no message of at most the given size.
using Received = std::variant<std::vector<std::uint8_t>, WouldBlock, Ended>;

/// Receives one message of 1 to `maximumSize` bytes. Descriptors that come with it are dropped. `sender`, where given,
/// is told the process that sent it, on a connection that was accepted; 0 when that cannot be told.
Received receive(int socket, std::size_t maximumSize, pid_t* sender = nullptr);

enum class Sent { whole, wouldBlock, failed };
Sent send(int socket, const std::vector<std::uint8_t>& message);

} // namespace unix_socket
} // namespace kelo
