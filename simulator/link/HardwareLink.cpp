#include "simulator/link/HardwareLink.h"

#include <sys/socket.h>
#include <sys/time.h>

#include "platform/linux/socket/UnixSocket.h"

namespace kelo {
namespace {

using namespace hardware_calls;

// Without a timeout a simulated Mac that hangs would keep the helper from exiting.
constexpr int defaultTimeout = 10; // seconds

AnyAnswer receiveFrom(int socket) {
    const auto received = unix_socket::receive(socket, HardwareLink::maximumMessageSize);
    const auto* bytes = std::get_if<std::vector<std::uint8_t>>(&received);
    if (bytes == nullptr)
        throw CallFailed("The simulated Mac has gone.");
    try {
        return decodeAnswer(*bytes);
    } catch (const std::invalid_argument& error) {
        throw CallFailed(std::string("The simulated Mac cannot be understood: ") + error.what() + ".");
    }
}

} // namespace

std::unique_ptr<HardwareLink> HardwareLink::connect(int folder) {
    auto socket = unix_socket::connect(folder, socketName);
    if (!socket.isValid())
        return nullptr;
    std::unique_ptr<HardwareLink> link(new HardwareLink(std::move(socket)));
    link->setTimeout(defaultTimeout);
    return link;
}

void HardwareLink::setTimeout(int seconds) {
    const timeval timeout = {.tv_sec = seconds, .tv_usec = 0};
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
}

AnyAnswer HardwareLink::answerTo(const AnyCall& call) {
    auto socket = std::move(socket_); // closed by what throws: a late answer would be taken for that of the next call
    if (unix_socket::send(socket.get(), encode(call)) != unix_socket::Sent::whole)
        throw CallFailed("The simulated Mac has gone.");
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
