#include "platform/linux/socket/UnixSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace kelo::unix_socket {
namespace {

constexpr int backlog = 128;

[[noreturn]] void failWithErrno(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

/// The address of a file in an open folder, by way of the descriptor: short, whatever the folder's path.
sockaddr_un addressOf(int folder, const std::string& name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const int length =
        std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s", folder, name.c_str());
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof address.sun_path)
        throw std::invalid_argument("the socket's name is too long: " + name);
    return address;
}

const sockaddr* asSocketAddress(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

FileDescriptor makeSocket(int flags) {
    return FileDescriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | flags, 0));
}

} // namespace

FileDescriptor listen(int folder, const std::string& name) {
    // Bound under another name and renamed, so that the place is never empty.
    const auto temporary = name + "." + std::to_string(getpid());
    auto listener = makeSocket(SOCK_NONBLOCK);
    if (!listener.isValid())
        failWithErrno("socket");
    unlinkat(folder, temporary.c_str(), 0); // left by a process of the same number, perhaps
    const auto address = addressOf(folder, temporary);
    if (bind(listener.get(), asSocketAddress(address), sizeof address) != 0)
        failWithErrno("bind");
    if (::listen(listener.get(), backlog) != 0 || fchmodat(folder, temporary.c_str(), 0666, 0) != 0 ||
        renameat(folder, temporary.c_str(), folder, name.c_str()) != 0) {
        const int error = errno;
        unlinkat(folder, temporary.c_str(), 0);
        errno = error;
        failWithErrno("listen");
    }
    return listener;
}

FileDescriptor accept(int listener) {
    return FileDescriptor(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

FileDescriptor connect(int folder, const std::string& name) {
    auto socket = makeSocket(0);
    const auto address = addressOf(folder, name);
    if (socket.isValid() && ::connect(socket.get(), asSocketAddress(address), sizeof address) != 0)
        return {};
    return socket;
}

Received receive(int socket, std::size_t maximumSize) {
    std::vector<std::uint8_t> message(maximumSize);
    // A peer that has gone without reading everything is reported once, before what it sent until then.
    ssize_t length = 0;
    do
        length = recv(socket, message.data(), message.size(), MSG_TRUNC);
    while (length < 0 && (errno == EINTR || errno == ECONNRESET));
    if (length < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
        return WouldBlock{};
    // An empty message reads like the end of the connection, and is as little use.
    if (length <= 0 || static_cast<std::size_t>(length) > maximumSize)
        return Ended{};
    message.resize(static_cast<std::size_t>(length));
    return message;
}

Sent send(int socket, const std::vector<std::uint8_t>& message) {
    ssize_t length = 0;
    do
        length = ::send(socket, message.data(), message.size(), MSG_NOSIGNAL);
    while (length < 0 && errno == EINTR);
    if (length >= 0)
        return Sent::whole; // a message is sent whole or not at all
    return errno == EAGAIN || errno == EWOULDBLOCK ? Sent::wouldBlock : Sent::failed;
}

} // namespace kelo::unix_socket
