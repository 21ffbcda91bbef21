#include "platform/linux/socket/client/SocketHelperConnection.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <utility>

#include "platform/linux/socket/InstallationFolder.h"
#include "platform/linux/socket/RequestRecords.h"
#include "platform/linux/socket/UnixSocket.h"
#include "protocol/KeloHelper.h"

namespace kelo {
namespace {

// The helper's main thread may be busy for 4 seconds per fan, with up to ten fans.
constexpr timeval replyTimeout = {.tv_sec = 60, .tv_usec = 0};

} // namespace

SocketHelperConnection::SocketHelperConnection(int folder)
    : socket_(unix_socket::connect(folder, serviceSocketName(KeloHelper::machServiceName))),
      buffer_(std::make_unique_for_overwrite<std::uint8_t[]>(request_records::maximumReplySize)) {
    if (!socket_.isValid())
        throw HelperUnreachable("The helper is not running.");
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &replyTimeout, sizeof replyTimeout);
}

void SocketHelperConnection::perform(const requests::AnyCall& call) {
    std::visit(
        [this]<typename Request>(const requests::Call<Request>& typed) {
            const auto number = ++lastNumber_;
            typename Request::Answer answer{};
            if (!request_records::decodeAnswer(exchange(request_records::encode(number, typed.request)), number,
                                               answer))
                throw HelperUnreachable("The helper sent an invalid reply.");
            typed.reply(std::move(answer));
        },
        call);
}

std::span<const std::uint8_t> SocketHelperConnection::exchange(std::span<const std::uint8_t> request) {
    if (unix_socket::send(socket_.get(), request) != unix_socket::Sent::whole)
        throw HelperUnreachable("The helper has closed the connection.");
    const auto received = unix_socket::receive(socket_.get(), {buffer_.get(), request_records::maximumReplySize});
    if (std::holds_alternative<unix_socket::WouldBlock>(received))
        throw HelperUnreachable("The helper does not answer.");
    const auto* bytes = std::get_if<unix_socket::Bytes>(&received);
    if (bytes == nullptr)
        throw HelperUnreachable("The helper refused the connection or has gone.");
    return *bytes;
}

std::unique_ptr<HelperConnection> connectToHelper() {
    const auto installation = openInstallation();
    return std::make_unique<SocketHelperConnection>(installation.get());
}

} // namespace kelo
