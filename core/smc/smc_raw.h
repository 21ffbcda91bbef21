#pragma once

#include <cstdint>

/// The untyped layer below smc.h, for it and its tests. The same rules hold.

extern "C" {

struct SMCKeyInfo {
    std::uint32_t dataSize; ///< Number of value bytes, as the controller says; not checked against the record's 32.
    std::uint32_t dataType; ///< Four-character code, first character in the most significant byte.
    std::uint32_t dataAttributes; ///< Attributes in the low byte; the three bytes above carry no meaning.
};

/// Returns 0 or -2.
std::int32_t fetch_keyinfo(const char* key, SMCKeyInfo* info) noexcept;

/// Reads the key's info and its 32 value bytes (all 32, whatever its size). Returns 0, -2, -3 or the result byte.
std::int32_t read_raw(const char* key, SMCKeyInfo* info, std::uint8_t value[32]) noexcept;

/// Announces `n` bytes and sends min(n, 32) of them from `src`. Returns 0, -3 or the result byte.
std::int32_t write_raw(const char* key, const void* src, std::uint32_t n) noexcept;

} // extern "C"
