#include "simulator/link/HardwareLink.h"

#include <sys/socket.h>
#include <sys/time.h>

#include "platform/linux/socket/UnixSocket.h"

namespace kelo {
namespace {

// Without a limit a simulated Mac that hangs would keep the helper from ever leaving.
constexpr int defaultPatience = 10; // seconds

} // namespace

std::unique_ptr<HardwareLink> HardwareLink::connect(int folder) {
    auto socket = unix_socket::connect(folder, socketName);
    if (!socket.isValid())
        return nullptr;
    std::unique_ptr<HardwareLink> link(new HardwareLink(std::move(socket)));
    link->setPatience(defaultPatience);
    return link;
}

void HardwareLink::setPatience(int seconds) {
    const timeval patience = {.tv_sec = seconds, .tv_usec = 0};
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
}

std::optional<Message> HardwareLink::call(const Message& request) {
    if (!socket_.isValid())
        return std::nullopt;
    if (unix_socket::send(socket_.get(), encodeMessage(request)) == unix_socket::Sent::whole) {
        const auto received = unix_socket::receive(socket_.get(), maximumMessageSize);
        if (const auto* bytes = std::get_if<std::vector<std::uint8_t>>(&received))
            if (auto answer = decodeMessage(*bytes))
                return answer;
    }
    socket_ = {}; // a late answer would be taken for that of the next call
    return std::nullopt;
}

void HardwareLink::tell(const Message& message) { unix_socket::send(socket_.get(), encodeMessage(message)); }

} // namespace kelo
