#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace kelo {

/// Converts bytes to text with two lower-case hexadecimal digits per byte.
inline std::string hexOf(std::span<const std::uint8_t> bytes) {
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    for (const auto byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

} // namespace kelo
