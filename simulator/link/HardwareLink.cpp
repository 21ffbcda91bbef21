#include "simulator/link/HardwareLink.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <string>

#include "platform/linux/socket/UnixSocket.h"
#include "platform/posix/Errno.h"

namespace kelo {
namespace {

using namespace hardware_calls;

AnyAnswer receiveFrom(int socket) {
    const auto received = unix_socket::receive(socket, HardwareLink::maximumMessageSize);
    if (std::holds_alternative<unix_socket::WouldBlock>(received))
        throw MacHangs();
    const auto* bytes = std::get_if<std::vector<std::uint8_t>>(&received);
    if (bytes == nullptr)
        throw MacHasGone();
    try {
        return decodeAnswer(*bytes);
    } catch (const std::invalid_argument& error) {
        throw CallFailed(std::string("The simulated Mac cannot be understood: ") + error.what() + ".");
    }
}

} // namespace

std::unique_ptr<HardwareLink> HardwareLink::connect(int folder, std::chrono::milliseconds timeout) {
    auto socket = unix_socket::connect(folder, socketName, timeout);
    if (!socket.isValid()) {
        if (errno == ENOENT || errno == ECONNREFUSED)
            return nullptr;
        if (errno == EAGAIN)
            throw MacHangs();
        throwErrno("connect");
    }
    std::unique_ptr<HardwareLink> link(new HardwareLink(std::move(socket)));
    link->setTimeout(defaultTimeout);
    return link;
}

void HardwareLink::setTimeout(std::chrono::milliseconds limit) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
    const timeval timeout = {.tv_sec = seconds.count(), .tv_usec = std::chrono::microseconds(limit - seconds).count()};
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
}

AnyAnswer HardwareLink::answerTo(const AnyCall& call) {
    auto socket = std::move(socket_); // closed by what throws: a late answer would be taken for that of the next call
    switch (unix_socket::send(socket.get(), encode(call))) {
    case unix_socket::Sent::whole:
        break;
    case unix_socket::Sent::wouldBlock:
        throw MacHangs();
    case unix_socket::Sent::failed:
        throw MacHasGone();
    }
    auto answer = receiveFrom(socket.get());
    socket_ = std::move(socket);
    if (const auto* refused = std::get_if<Refused>(&answer))
        throw CallFailed(refused->sentence);
    return answer;
}

void HardwareLink::tell(const AllowPowerChange& call) { unix_socket::send(socket_.get(), encode(AnyCall(call))); }

std::optional<PowerAnnouncement> HardwareLink::receiveAnnouncement() try {
    return std::get<PowerAnnouncement>(receiveFrom(socket_.get()));
} catch (const std::exception&) {
    return std::nullopt;
}

} // namespace kelo
