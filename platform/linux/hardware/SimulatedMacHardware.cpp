#include "platform/linux/hardware/SimulatedMacHardware.h"

#include <utility>

#include "platform/linux/hardware/MacWire.h"
#include "platform/linux/socket/UnixSocket.h"

namespace kelo {

using mac_wire::bytesOf;

std::uint32_t SimulatedMacHardware::open() {
    isOpen_ = hasLink_ = connect();
    return isOpen_ ? ++handle_ : 0;
}

bool SimulatedMacHardware::exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept {
    if (!isOpen_ || connection != handle_)
        return false;
    const auto isAnswer = [&](std::size_t size) {
        return size == sizeof mac_wire::failedExchange ||
               (size == sizeof reply && reply.key == request.key && reply.data8 == request.data8);
    };
    return ask(bytesOf(request), bytesOf(reply), isAnswer) == sizeof reply;
}

void SimulatedMacHardware::close(std::uint32_t connection) noexcept {
    if (connection != handle_)
        return;
    isOpen_ = false;
    socket_ = {};
}

ClamshellProperty SimulatedMacHardware::clamshellState() {
    mac_wire::LidRecord record{};
    std::optional<ClamshellProperty> lid;
    ask(bytesOf(mac_wire::lidQuestion), bytesOf(record), [&](std::size_t size) {
        lid = size == sizeof record ? mac_wire::decode(record) : std::nullopt;
        return lid.has_value();
    });
    return lid.value_or(ClamshellProperty());
}

/// Reconnects. Returns whether a Mac accepted the connection.
bool SimulatedMacHardware::connect() noexcept {
    socket_ = {};
    try {
        socket_ = unix_socket::connect(folder_, mac_wire::hardwareSocket, timeouts_.retry);
    } catch (...) { // out of memory
    }
    unix_socket::setTimeout(socket_.get(), isTreatedAsHung() ? timeouts_.retry : timeouts_.answer);
    return socket_.isValid();
}

/// Sends the question and waits for the answer, connecting first if necessary. Retries once on a new connection if the
/// Mac hangs up or sends anything but the answer. Returns the size of the answer, 0 if none arrives.
template <typename Check>
std::size_t SimulatedMacHardware::ask(std::span<const std::uint8_t> question, std::span<std::uint8_t> answer,
                                      const Check& isAnswer) noexcept {
    hasLink_ = false;
    for (int tries = 0; tries < 2 && (socket_.isValid() || connect()); ++tries) {
        const auto size = attempt(question, answer);
        if (size.value_or(0) > 0 && isAnswer(*size)) {
            hasLink_ = true;
            return *size;
        }
        socket_ = {};
        if (!size)
            break;
    }
    return 0;
}

/// Returns the size of the Mac's message, 0 if it hung up, nullopt if it did not answer in time.
std::optional<std::size_t> SimulatedMacHardware::attempt(std::span<const std::uint8_t> question,
                                                         std::span<std::uint8_t> answer) noexcept {
    unix_socket::send(socket_.get(), question); // `receive` notices a Mac that has exited
    const auto received = unix_socket::receive(socket_.get(), answer);
    if (std::holds_alternative<unix_socket::WouldBlock>(received)) {
        // Later timeouts do not extend the period in which the Mac is treated as hung, so that a slow Mac is used
        // again.
        if (!isTreatedAsHung())
            hungUntil_ = std::chrono::steady_clock::now() + timeouts_.memory;
        return std::nullopt;
    }
    if (std::exchange(hungUntil_, std::nullopt))
        unix_socket::setTimeout(socket_.get(), timeouts_.answer);
    const auto* bytes = std::get_if<unix_socket::Bytes>(&received);
    return bytes == nullptr ? 0 : bytes->size();
}

bool SimulatedMacHardware::isTreatedAsHung() const {
    return hungUntil_ && std::chrono::steady_clock::now() < *hungUntil_;
}

} // namespace kelo
