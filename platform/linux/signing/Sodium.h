#pragma once

#include <sodium.h>

#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>

#include "platform/linux/signing/SignatureTrailer.h"

namespace kelo {

/// Call before using libsodium for keys, signatures or digests. Any thread.
inline void initializeSodium() {
    static const bool isReady = sodium_init() >= 0;
    if (!isReady)
        throw std::runtime_error("libsodium cannot be initialized");
}

/// Reads `count` bytes from a file that encodes them as hexadecimal digits followed by a newline. Returns nullopt if
/// the file contains anything else.
template <std::size_t count>
std::optional<std::array<std::uint8_t, count>> readHexFile(int file) {
    std::array<std::uint8_t, count * 2 + 1> text{};
    std::array<std::uint8_t, 1> more{};
    std::array<std::uint8_t, count> bytes{};
    const auto* digits = reinterpret_cast<const char*>(text.data());
    if (!readExactly(file, 0, text) || text.back() != '\n' || readExactly(file, text.size(), more) ||
        sodium_hex2bin(bytes.data(), count, digits, count * 2, nullptr, nullptr, nullptr) != 0)
        return std::nullopt;
    return bytes;
}

} // namespace kelo
