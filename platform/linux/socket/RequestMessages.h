#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/linux/socket/Message.h"
#include "protocol/KeloHelperProtocol.h"
#include "protocol/RequestTable.h"

namespace kelo {

/// The five requests as messages:
///
///     request   {"number": 7, "selector": "holdWithFraction:handsBackOnLidClose:reply:", "arguments": [0.5, false]}
///     reply     {"number": 7, "values": [null]}
///
/// A client chooses the numbers, each larger than the one before; replies come in any order. Both sides are built from
/// the table of requests.
namespace request_messages {

/// No message in either direction is larger. A snapshot is some 250 bytes; a text a few hundred.
inline constexpr std::size_t maximumRequestSize = 4096;
inline constexpr std::size_t maximumReplySize = 131'072;

struct IncomingRequest {
    std::uint64_t number;
    const RequestSignature* signature;
    Message arguments; ///< An array of exactly the types of the signature.
};

/// None for anything that is not exactly a request of the table.
std::optional<IncomingRequest> decode(std::span<const std::uint8_t> bytes);

/// Makes the request on `object`; `send` is called with the reply's bytes when there is one, on any thread.
void perform(const IncomingRequest& request, KeloHelperProtocol& object,
             std::function<void(std::vector<std::uint8_t>)> send);

std::vector<std::uint8_t> encode(std::uint64_t number, Request request, const Message& arguments);

/// The values of a reply to `request` with this number; none for anything else.
std::optional<Message> decodeReply(std::span<const std::uint8_t> bytes, std::uint64_t number, Request request);

} // namespace request_messages
} // namespace kelo
