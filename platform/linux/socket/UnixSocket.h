#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <variant>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// Unix sockets that keep the boundaries of messages (SOCK_SEQPACKET), named by a file in an open folder: the folder
/// may be moved and its path may be longer than a socket's address.
namespace unix_socket {

/// Leads to `name` in the open folder, wherever the folder is now.
std::string pathOf(int folder, const std::string& name);

/// Listens at `name` in `folder`, replacing any previous listener there. Any user may connect. No step follows a link
/// that another user put there meanwhile. Throws `std::system_error`.
FileDescriptor listen(int folder, const std::string& name);

/// Takes the next connection, non-blocking; invalid when there is none, or no descriptor left for it (see `errno`).
FileDescriptor accept(int listener);

/// Connects to the listener at `name` in `folder`; blocking. One that accepts nobody is waited for at most for
/// `timeout`, more than 0, which limits each sending over the socket, too. Invalid when there is no listener, when it
/// does not accept in time or when no descriptor is left (`errno`: ENOENT or ECONNREFUSED, EAGAIN, or another).
FileDescriptor connect(int folder, const std::string& name,
                       std::chrono::milliseconds timeout = std::chrono::seconds(10));

/// Limits how long a blocking socket waits to send and to receive. `limit` is more than 0.
void setTimeout(int socket, std::chrono::milliseconds limit);

struct WouldBlock {};
struct Ended {}; ///< The peer has gone, or its message is empty or larger than the buffer.
using Bytes = std::span<const std::uint8_t>;
using Received = std::variant<Bytes, WouldBlock, Ended>;

/// Receives one message of 1 to `buffer.size()` bytes; what is returned is in `buffer`. Descriptors that come with it
/// are dropped.
Received receive(int socket, std::span<std::uint8_t> buffer);

/// The same on a connection that was accepted; `sender` becomes the id of the sending process, 0 when it is unknown.
Received receive(int socket, std::span<std::uint8_t> buffer, pid_t& sender);

enum class Sent { whole, wouldBlock, failed };
Sent send(int socket, Bytes message);

} // namespace unix_socket
} // namespace kelo
