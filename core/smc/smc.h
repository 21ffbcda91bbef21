#pragma once

#include <cstdint>

/// Client for the keys of the System Management Controller.
///
/// Keys are named by four ASCII characters. Every function reads exactly the first four bytes of `key` and ignores what
/// follows, so `key` must have at least four readable bytes. An out-parameter is written only on success; on any
/// failure it keeps what it held.
///
/// Every function returns a status:
/// - 0: success
/// - -2: the key's info could not be read: the exchange failed, or the controller refused (an unknown key, mostly)
/// - -3: no controller to open, a failed read or write exchange, or a type that has no float conversion
/// - 1 to 255: the controller's own result byte for the read or the write
///
/// One process-wide connection, no lock: callers serialise all use. Nothing here allocates, logs, throws or retries,
/// and nothing is cached: each read and each write asks for the key's info first.

namespace kelo {
class SMCExchange;
}

/// Chooses what the functions below talk to. `exchange` is borrowed and must outlive its use; nullptr means that there
/// is no controller. Must be called before the connection is opened, and never while it is open.
void smc_set_exchange(kelo::SMCExchange* exchange) noexcept;

extern "C" {

/// Opens the connection; does nothing when it is already open. Returns 0, or -3.
std::int32_t smc_open() noexcept;

/// Closes the connection; does nothing when it is closed.
void smc_close() noexcept;

/// Reads byte 0 of the key's value, whatever its type and size.
std::int32_t smc_read_u8(const char* key, std::uint8_t* out) noexcept;

/// Reads "flt " (of size 4), "ui8 ", "ui16" and "fpe2" keys. The fraction bits of "fpe2" are dropped: whole RPM.
std::int32_t smc_read_float(const char* key, float* out) noexcept;

/// Writes `value` into byte 0 and zeros into the rest of the key's size.
std::int32_t smc_write_u8(const char* key, std::uint8_t value) noexcept;

/// Writes two bytes to an "fpe2" key (truncated toward zero, saturating, NaN as 0) and the float's four bytes to a key
/// of any other type.
std::int32_t smc_write_float(const char* key, float value) noexcept;

} // extern "C"
