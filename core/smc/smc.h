#pragma once

#include <cstdint>

/// Client for the keys of the System Management Controller.
///
/// Keys are named by four ASCII characters. Every function reads exactly the first four bytes of `key`, so `key` must
/// have at least four readable bytes. Out-parameters are written only on success.
///
/// Every function returns a status:
/// - 0: success
/// - -2: the key's info could not be read: the exchange failed, or the controller refused (usually an unknown key)
/// - -3: there is no controller, a read or write exchange failed, or the type cannot be converted to a float
/// - 1 to 255: the controller's result byte for the read or the write
///
/// There is one connection per process and no lock: callers must serialise their calls. The functions do not allocate,
/// log, throw, retry or cache: each read and each write requests the key's info first.

namespace kelo {
class SMCExchange;
}

/// Sets the exchange that the functions below use. `exchange` is borrowed and must stay valid until it is replaced;
/// nullptr means that there is no controller. Call it before the connection is opened, and never while the connection
/// is open.
void smc_set_exchange(kelo::SMCExchange* exchange) noexcept;

extern "C" {

/// Opens the connection; does nothing if it is already open. Returns 0 or -3.
std::int32_t smc_open() noexcept;

/// Closes the connection; does nothing if it is closed.
void smc_close() noexcept;

/// Reads byte 0 of the key's value, regardless of the key's type and size.
std::int32_t smc_read_u8(const char* key, std::uint8_t* out) noexcept;

/// Reads "flt " (of size 4), "ui8 ", "ui16" and "fpe2" keys. Drops the fraction bits of "fpe2" values, so that the
/// result is in whole RPM.
std::int32_t smc_read_float(const char* key, float* out) noexcept;

/// Writes `value` into byte 0 and zeros into the key's other bytes.
std::int32_t smc_write_u8(const char* key, std::uint8_t value) noexcept;

/// Writes two bytes to an "fpe2" key (truncated toward zero, saturated, NaN as 0) and the float's four bytes to any
/// other key.
std::int32_t smc_write_float(const char* key, float value) noexcept;

} // extern "C"
