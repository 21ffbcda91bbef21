#include "simulator/link/MacConnection.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <utility>

#include "platform/linux/socket/UnixSocket.h"
#include "platform/posix/Errno.h"

namespace kelo {

std::optional<MacConnection> MacConnection::connect(int folder, const char* name, std::chrono::milliseconds timeout) {
    auto socket = unix_socket::connect(folder, name, timeout);
    if (!socket.isValid()) {
        if (errno == ENOENT || errno == ECONNREFUSED)
            return std::nullopt;
        if (errno == EAGAIN)
            throw MacHangs();
        throwErrno("connect");
    }
    MacConnection connection(std::move(socket));
    connection.setTimeout(defaultTimeout);
    return connection;
}

void MacConnection::setTimeout(std::chrono::milliseconds limit) {
    if (limit == timeout_)
        return;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
    const timeval timeout = {.tv_sec = seconds.count(), .tv_usec = std::chrono::microseconds(limit - seconds).count()};
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    timeout_ = limit;
}

std::span<const std::uint8_t> MacConnection::ask(std::span<const std::uint8_t> question,
                                                 std::span<std::uint8_t> buffer) {
    try {
        switch (unix_socket::send(socket_.get(), question)) {
        case unix_socket::Sent::whole:
            return receive(buffer);
        case unix_socket::Sent::wouldBlock:
            throw MacHangs();
        case unix_socket::Sent::failed:
            break;
        }
        throw MacHasGone();
    } catch (const CallFailed&) {
        close();
        throw;
    }
}

void MacConnection::tell(std::span<const std::uint8_t> message) { unix_socket::send(socket_.get(), message); }

std::span<const std::uint8_t> MacConnection::receive(std::span<std::uint8_t> buffer) {
    const auto received = unix_socket::receive(socket_.get(), buffer);
    if (std::holds_alternative<unix_socket::WouldBlock>(received))
        throw MacHangs();
    const auto* message = std::get_if<unix_socket::Bytes>(&received);
    if (message == nullptr)
        throw MacHasGone();
    return *message;
}

} // namespace kelo
