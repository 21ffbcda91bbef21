#include "platform/linux/socket/UnixSocket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <stdexcept>

#include "platform/posix/Errno.h"

namespace kelo::unix_socket {
namespace {

constexpr int backlog = 128;

/// The address of a file in an open folder. The address names the folder by its descriptor, so that it is short even if
/// the folder's path is long.
sockaddr_un addressOf(int folder, const std::string& name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const auto path = pathOf(folder, name);
    if (path.size() >= sizeof address.sun_path)
        throw std::invalid_argument("the socket's name is too long: " + name);
    path.copy(address.sun_path, path.size());
    return address;
}

const sockaddr* asSocketAddress(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

/// Binds the socket and lets every user connect. Uses the umask instead of chmod, since the path may lead to a
/// different file by the time of a chmod.
bool bindForEverybody(int socket, const sockaddr_un& address) {
    static std::mutex mutex; // guards the umask, which all threads share
    const std::lock_guard lock(mutex);
    const auto usual = umask(0111);
    const bool isBound = bind(socket, asSocketAddress(address), sizeof address) == 0;
    umask(usual);
    return isBound;
}

bool setTimeout(int socket, int option, std::chrono::milliseconds limit) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
    const timeval value = {.tv_sec = seconds.count(), .tv_usec = std::chrono::microseconds(limit - seconds).count()};
    return setsockopt(socket, SOL_SOCKET, option, &value, sizeof value) == 0;
}

FileDescriptor makeSocket(int flags) {
    return FileDescriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | flags, 0));
}

pid_t senderOf(msghdr& header) {
    const auto* const control = CMSG_FIRSTHDR(&header);
    if (control == nullptr || control->cmsg_level != SOL_SOCKET || control->cmsg_type != SCM_CREDENTIALS)
        return 0;
    ucred credentials{};
    std::memcpy(&credentials, CMSG_DATA(control), sizeof credentials);
    return credentials.pid;
}

/// Receives a message with `call`, which returns the message's whole length.
template <typename Call>
Received receiveBy(const Call& call, std::span<std::uint8_t> buffer) {
    ssize_t length = 0;
    // If the peer closed its end without reading everything, the first call fails. Later calls return the messages that
    // the peer had sent.
    do
        length = call();
    while (length < 0 && (errno == EINTR || errno == ECONNRESET));
    if (length < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
        return WouldBlock{};
    // An empty message cannot be distinguished from the end of the connection.
    if (length <= 0 || static_cast<std::size_t>(length) > buffer.size())
        return Ended{};
    return buffer.first(static_cast<std::size_t>(length));
}

} // namespace

std::string pathOf(int folder, const std::string& name) {
    return "/proc/self/fd/" + std::to_string(folder) + "/" + name;
}

FileDescriptor listen(int folder, const std::string& name) {
    auto listener = makeSocket(SOCK_NONBLOCK);
    const int on = 1;
    // Accepted sockets inherit the option, so that even the first message identifies its sender.
    if (!listener.isValid() || setsockopt(listener.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0)
        throwErrno("socket");
    // Creates the socket under a temporary name and renames it when it is ready, so that the final name always exists.
    const auto unfinished = name + "." + std::to_string(getpid());
    const auto address = addressOf(folder, unfinished);
    while (!bindForEverybody(listener.get(), address))
        // An earlier process with our id was killed and left the file behind.
        if (errno != EADDRINUSE || unlinkat(folder, unfinished.c_str(), 0) != 0)
            throwErrno("bind");
    if (::listen(listener.get(), backlog) != 0 || renameat(folder, unfinished.c_str(), folder, name.c_str()) != 0) {
        const int error = errno;
        unlinkat(folder, unfinished.c_str(), 0);
        errno = error;
        throwErrno("listen");
    }
    return listener;
}

FileDescriptor accept(int listener) {
    return FileDescriptor(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

FileDescriptor connect(int folder, const std::string& name, std::chrono::milliseconds timeout) {
    auto socket = makeSocket(0);
    if (!socket.isValid())
        return {};
    // Without a timeout, connect waits as long as the listener's backlog is full.
    if (!setTimeout(socket.get(), SO_SNDTIMEO, timeout))
        return {};
    const auto address = addressOf(folder, name);
    while (::connect(socket.get(), asSocketAddress(address), sizeof address) != 0)
        if (errno != EINTR)
            return {};
    return socket;
}

void setTimeout(int socket, std::chrono::milliseconds limit) {
    setTimeout(socket, SO_SNDTIMEO, limit);
    setTimeout(socket, SO_RCVTIMEO, limit);
}

Received receive(int socket, std::span<std::uint8_t> buffer) {
    return receiveBy([&] { return recv(socket, buffer.data(), buffer.size(), MSG_TRUNC); }, buffer);
}

Received receive(int socket, std::span<std::uint8_t> buffer, pid_t& sender) {
    iovec content{.iov_base = buffer.data(), .iov_len = buffer.size()};
    // The buffer has room only for the sender's credentials, so that the kernel closes any descriptors sent with the
    // message.
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    msghdr header{};
    header.msg_iov = &content;
    header.msg_iovlen = 1;
    const auto received = receiveBy(
        [&] {
            header.msg_control = control;
            header.msg_controllen = sizeof control;
            return recvmsg(socket, &header, MSG_TRUNC | MSG_CMSG_CLOEXEC);
        },
        buffer);
    sender = std::holds_alternative<Bytes>(received) ? senderOf(header) : 0;
    return received;
}

Sent send(int socket, Bytes message) {
    ssize_t length = 0;
    do
        length = ::send(socket, message.data(), message.size(), MSG_NOSIGNAL);
    while (length < 0 && errno == EINTR);
    if (length >= 0)
        return Sent::whole; // a message is sent whole or not at all
    return errno == EAGAIN || errno == EWOULDBLOCK ? Sent::wouldBlock : Sent::failed;
}

} // namespace kelo::unix_socket
