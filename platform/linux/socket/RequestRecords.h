#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// Requests and replies as messages on the service's socket, one message each. docs/protocol.md describes the layouts.
namespace request_records {

using Bytes = std::span<const std::uint8_t>;

inline constexpr std::size_t requestSize = 24;
/// The maximum size of a reply's content. Longer texts are truncated.
inline constexpr std::size_t maximumContent = 65'536;
inline constexpr std::size_t maximumReplySize = 16 + maximumContent;

struct IncomingRequest {
    std::uint64_t number; ///< Chosen by the client; the reply has the same number.
    requests::Any request;
};

std::array<std::uint8_t, requestSize> encode(std::uint64_t number, const requests::Any& request);

/// Returns nullopt for anything that `encode` does not produce.
std::optional<IncomingRequest> decode(Bytes message);

std::vector<std::uint8_t> encodeAnswer(std::uint64_t number, const std::optional<Data>& answer);
std::vector<std::uint8_t> encodeAnswer(std::uint64_t number, const std::optional<std::string>& answer);
std::vector<std::uint8_t> encodeAnswer(std::uint64_t number, std::int64_t answer);
std::vector<std::uint8_t> encodeAnswer(std::uint64_t number, requests::Nothing answer);

/// Returns false and leaves `answer` unchanged for anything but a reply with this number and an answer of this type.
bool decodeAnswer(Bytes message, std::uint64_t number, std::optional<Data>& answer);
bool decodeAnswer(Bytes message, std::uint64_t number, std::optional<std::string>& answer);
bool decodeAnswer(Bytes message, std::uint64_t number, std::int64_t& answer);
bool decodeAnswer(Bytes message, std::uint64_t number, requests::Nothing& answer);

} // namespace request_records
} // namespace kelo
