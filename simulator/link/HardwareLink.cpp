#include "simulator/link/HardwareLink.h"

#include <chrono>

#include "platform/linux/socket/UnixSocket.h"

namespace kelo {

std::unique_ptr<HardwareLink> HardwareLink::connect(int folder) {
    auto socket = unix_socket::connect(folder, socketName);
    if (!socket.isValid())
        return nullptr;
    unix_socket::setTimeout(socket.get(), std::chrono::seconds(90));
    return std::unique_ptr<HardwareLink>(new HardwareLink(std::move(socket)));
}

hardware_calls::AnyAnswer HardwareLink::answerTo(const hardware_calls::AnyCall& call) {
    unix_socket::send(socket_.get(), encode(call)); // if the Mac has exited, receiving the answer fails
    const auto received = unix_socket::receive(socket_.get(), {buffer_.get(), maximumAnswerSize});
    if (std::holds_alternative<unix_socket::WouldBlock>(received)) {
        socket_ = {}; // a late answer would be mistaken for the answer to the next call
        throw CallFailed("The simulated Mac does not answer.");
    }
    const auto* bytes = std::get_if<unix_socket::Bytes>(&received);
    if (bytes == nullptr)
        throw CallFailed("The simulated Mac has stopped.");
    auto answer = hardware_calls::decodeAnswer(*bytes);
    if (const auto* refused = std::get_if<hardware_calls::Refused>(&answer))
        throw CallRefused(refused->sentence);
    return answer;
}

} // namespace kelo
