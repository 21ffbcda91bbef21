#include "platform/linux/socket/client/SocketHelperConnection.h"

#include <sys/socket.h>
#include <sys/time.h>

#include "platform/linux/socket/InstallationFolder.h"
#include "platform/linux/socket/RequestMessages.h"
#include "platform/linux/socket/UnixSocket.h"
#include "protocol/KeloHelper.h"

namespace kelo {
namespace {

// The helper's main thread may be busy for 4 seconds for each of ten fans.
constexpr timeval replyTimeout = {.tv_sec = 60, .tv_usec = 0};

std::optional<std::string> optionalText(const Message& value) {
    return value.is_null() ? std::nullopt : std::optional(value.get<std::string>());
}

} // namespace

SocketHelperConnection::SocketHelperConnection(int folder)
    : socket_(unix_socket::connect(folder, serviceSocketName(KeloHelper::machServiceName))),
      buffer_(std::make_unique_for_overwrite<std::uint8_t[]>(request_messages::maximumReplySize)) {
    if (!socket_.isValid())
        throw HelperUnreachable("The helper is not running.");
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &replyTimeout, sizeof replyTimeout);
}

std::optional<Data> SocketHelperConnection::fetchSnapshot() {
    const auto value = call(Request::fetchSnapshot)[0];
    if (value.is_null())
        return std::nullopt;
    return Data(value.get_binary().begin(), value.get_binary().end());
}

std::optional<std::string> SocketHelperConnection::hold(double fraction, bool handsBackOnLidClose) {
    return optionalText(call(Request::hold, Message::array({fraction, handsBackOnLidClose}))[0]);
}

std::optional<std::string> SocketHelperConnection::handBack() { return optionalText(call(Request::handBack)[0]); }

std::int64_t SocketHelperConnection::helperVersion() { return call(Request::helperVersion)[0].get<std::int64_t>(); }

void SocketHelperConnection::standDown() { call(Request::standDown); }

Message SocketHelperConnection::call(Request request, const Message& arguments) {
    const auto number = ++lastNumber_;
    if (unix_socket::send(socket_.get(), request_messages::encode(number, request, arguments)) !=
        unix_socket::Sent::whole)
        throw HelperUnreachable("The helper has closed the connection.");
    const auto received = unix_socket::receive(socket_.get(), {buffer_.get(), request_messages::maximumReplySize});
    if (std::holds_alternative<unix_socket::WouldBlock>(received))
        throw HelperUnreachable("The helper does not answer.");
    const auto* bytes = std::get_if<unix_socket::Bytes>(&received);
    if (bytes == nullptr)
        throw HelperUnreachable("The helper refused the connection or has gone.");
    auto values = request_messages::decodeReply(*bytes, number, request);
    if (!values)
        throw HelperUnreachable("The helper sent an invalid reply.");
    return std::move(*values);
}

std::unique_ptr<HelperConnection> connectToHelper() {
    const auto installation = openInstallation();
    return std::make_unique<SocketHelperConnection>(installation.get());
}

} // namespace kelo
