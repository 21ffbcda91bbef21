#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <vector>

namespace kelo {

/// What travels over a socket: a map, in CBOR, which carries every double, byte strings and null.
using Message = nlohmann::json;

std::vector<std::uint8_t> encodeMessage(const Message& message);

/// None for bytes that are not exactly one CBOR map, hold a name twice in one map, are nested more deeply than any
/// valid message, or hold what `encodeMessage` never writes: an indefinite length or a tag.
std::optional<Message> decodeMessage(std::span<const std::uint8_t> bytes);

} // namespace kelo
