#pragma once

#include <cstdint>

/// The untyped functions on which smc.h is built, for smc.cpp and its tests. The rules in smc.h also apply here.

extern "C" {

struct SMCKeyInfo {
    std::uint32_t dataSize;       ///< The value size that the controller reports; may exceed the record's 32 bytes.
    std::uint32_t dataType;       ///< Four-character code, first character in the most significant byte.
    std::uint32_t dataAttributes; ///< Attributes in the low byte; ignore the three upper bytes.
};

/// Returns 0 or -2.
std::int32_t fetch_keyinfo(const char* key, SMCKeyInfo* info) noexcept;

/// Reads the key's info and all 32 value bytes, regardless of the key's size. Returns 0, -2, -3 or the result byte.
std::int32_t read_raw(const char* key, SMCKeyInfo* info, std::uint8_t value[32]) noexcept;

/// Announces `n` bytes and sends min(n, 32) of them from `src`. Returns 0, -3 or the result byte.
std::int32_t write_raw(const char* key, const void* src, std::uint32_t n) noexcept;

} // extern "C"
