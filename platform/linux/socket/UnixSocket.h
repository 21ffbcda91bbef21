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

/// Unix sockets that preserve message boundaries (SOCK_SEQPACKET). Each socket is a file in a folder that is accessed
/// through a descriptor, so the folder may be moved, and its path may be longer than a socket address allows.
namespace unix_socket {

/// Returns a path to `name` in the open folder. The path stays valid when the folder is moved.
std::string pathOf(int folder, const std::string& name);

/// Listens at `name` in `folder`, replacing any previous listener there. Any user may connect. Never follows a symbolic
/// link that another user creates meanwhile. Throws `std::system_error`.
FileDescriptor listen(int folder, const std::string& name);

/// Accepts the next connection and makes it non-blocking. Returns an invalid descriptor if no connection is waiting or
/// no descriptor is left (see `errno`).
FileDescriptor accept(int listener);

/// Connects a blocking socket to the listener at `name` in `folder`. Waits at most `timeout`, which must be more than
/// 0, for the listener to accept; `timeout` also limits each later send. Returns an invalid descriptor if there is no
/// listener (`errno` is ENOENT or ECONNREFUSED), if it does not accept in time (EAGAIN), or if no descriptor is left.
FileDescriptor connect(int folder, const std::string& name,
                       std::chrono::milliseconds timeout = std::chrono::seconds(10));

/// Limits how long a blocking socket waits to send and to receive. `limit` must be more than 0.
void setTimeout(int socket, std::chrono::milliseconds limit);

struct WouldBlock {};
struct Ended {}; ///< The peer has disconnected, or its message is empty or larger than the buffer.
using Bytes = std::span<const std::uint8_t>;
using Received = std::variant<Bytes, WouldBlock, Ended>;

/// Receives one message of 1 to `buffer.size()` bytes into `buffer`. Drops any descriptors sent with it.
Received receive(int socket, std::span<std::uint8_t> buffer);

/// Receives from an accepted connection. Sets `sender` to the id of the sending process, 0 if unknown.
Received receive(int socket, std::span<std::uint8_t> buffer, pid_t& sender);

enum class Sent { whole, wouldBlock, failed };
Sent send(int socket, Bytes message);

} // namespace unix_socket
} // namespace kelo
