#include "core/smc/smc.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "core/smc/SMCExchange.h"
#include "core/smc/smc_raw.h"

using kelo::SMCCommand;
using kelo::SMCExchange;
namespace smc_type = kelo::smc_type;

namespace {

constexpr std::int32_t success = 0;
constexpr std::int32_t keyInfoUnreadable = -2;
constexpr std::int32_t failed = -3;

SMCExchange* exchangeInUse = nullptr;
std::uint32_t connection = 0;

SMCKeyData makeRequest(const char* key, SMCCommand command) {
    SMCKeyData request{};
    request.key = kelo::smcCode(key);
    request.data8 = static_cast<std::uint8_t>(command);
    return request;
}

/// May be called while the connection is closed: its handle is then 0, which the exchange refuses.
bool exchange(const SMCKeyData& request, SMCKeyData& reply) {
    reply = {};
    return exchangeInUse != nullptr && exchangeInUse->exchange(connection, request, reply);
}

/// Performs the first exchange of every read and write. On success, `reply` contains the key's info.
bool readKeyInfo(const SMCKeyData& request, SMCKeyData& reply) { return exchange(request, reply) && reply.result == 0; }

/// Performs both exchanges of a read: fills `info` with the key's info and `value` with its bytes. The replies are
/// complete records, from which callers copy only the fields that they need.
std::int32_t readKey(const char* key, SMCKeyData& info, SMCKeyData& value) {
    auto request = makeRequest(key, SMCCommand::readKeyInfo);
    if (!readKeyInfo(request, info))
        return keyInfoUnreadable;
    request.data8 = static_cast<std::uint8_t>(SMCCommand::readBytes);
    request.keyInfo.dataSize = info.keyInfo.dataSize;
    if (!exchange(request, value))
        return failed;
    return value.result;
}

void copyInfo(const SMCKeyData& reply, SMCKeyInfo& info) {
    info.dataSize = reply.keyInfo.dataSize;
    info.dataType = reply.keyInfo.dataType;
    // Copies the attribute byte and the three padding bytes after it as one 32-bit field.
    constexpr auto attributes = offsetof(SMCKeyData, keyInfo.dataAttributes);
    std::memcpy(&info.dataAttributes, reinterpret_cast<const std::uint8_t*>(&reply) + attributes,
                sizeof info.dataAttributes);
}

std::uint16_t bigEndian16(const std::uint8_t* bytes) { return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]); }

/// Casting an out-of-range float to an integer is undefined behaviour, so the limits are explicit.
std::int32_t saturatingInt32(float value) {
    constexpr float limit = 2147483648.0F; // 2^31, larger than any int32
    if (std::isnan(value))
        return 0;
    if (value >= limit)
        return std::numeric_limits<std::int32_t>::max();
    if (value < -limit)
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(value);
}

bool convertToFloat(const SMCKeyDataInfo& info, const std::uint8_t* value, float& out) {
    switch (info.dataType) {
    case smc_type::flt:
        if (info.dataSize != sizeof out)
            return false;
        std::memcpy(&out, value, sizeof out);
        return true;
    case smc_type::ui8:
        out = static_cast<float>(value[0]);
        return true;
    case smc_type::ui16:
        out = static_cast<float>(bigEndian16(value));
        return true;
    case smc_type::fpe2:
        out = static_cast<float>(bigEndian16(value) >> 2);
        return true;
    default:
        return false;
    }
}

} // namespace

void smc_set_exchange(SMCExchange* exchange) noexcept { exchangeInUse = exchange; }

std::int32_t smc_open() noexcept {
    if (connection != 0)
        return success;
    connection = exchangeInUse == nullptr ? 0 : exchangeInUse->open();
    return connection != 0 ? success : failed;
}

void smc_close() noexcept {
    if (connection == 0)
        return;
    exchangeInUse->close(connection);
    connection = 0;
}

std::int32_t fetch_keyinfo(const char* key, SMCKeyInfo* info) noexcept {
    SMCKeyData reply;
    if (!readKeyInfo(makeRequest(key, SMCCommand::readKeyInfo), reply))
        return keyInfoUnreadable;
    copyInfo(reply, *info);
    return success;
}

std::int32_t read_raw(const char* key, SMCKeyInfo* info, std::uint8_t value[32]) noexcept {
    SMCKeyData infoReply;
    SMCKeyData valueReply;
    const auto status = readKey(key, infoReply, valueReply);
    if (status != success)
        return status;
    copyInfo(infoReply, *info);
    std::memcpy(value, valueReply.bytes, sizeof valueReply.bytes);
    return success;
}

std::int32_t write_raw(const char* key, const void* src, std::uint32_t n) noexcept {
    auto request = makeRequest(key, SMCCommand::writeBytes);
    request.keyInfo.dataSize = n;
    std::memcpy(request.bytes, src, std::min<std::size_t>(n, sizeof request.bytes));
    SMCKeyData reply;
    if (!exchange(request, reply))
        return failed;
    return reply.result;
}

std::int32_t smc_read_u8(const char* key, std::uint8_t* out) noexcept {
    SMCKeyData info;
    SMCKeyData value;
    const auto status = readKey(key, info, value);
    if (status == success)
        *out = value.bytes[0];
    return status;
}

std::int32_t smc_read_float(const char* key, float* out) noexcept {
    SMCKeyData info;
    SMCKeyData value;
    const auto status = readKey(key, info, value);
    if (status != success)
        return status;
    return convertToFloat(info.keyInfo, value.bytes, *out) ? success : failed;
}

std::int32_t smc_write_u8(const char* key, std::uint8_t value) noexcept {
    SMCKeyInfo info;
    if (fetch_keyinfo(key, &info) != success)
        return keyInfoUnreadable;
    const std::uint8_t bytes[sizeof(SMCKeyData::bytes)] = {value};
    return write_raw(key, bytes, std::max<std::uint32_t>(info.dataSize, 1));
}

std::int32_t smc_write_float(const char* key, float value) noexcept {
    SMCKeyInfo info;
    if (fetch_keyinfo(key, &info) != success)
        return keyInfoUnreadable;
    std::uint8_t bytes[sizeof value] = {};
    if (info.dataType != smc_type::fpe2) {
        std::memcpy(bytes, &value, sizeof value);
        return write_raw(key, bytes, sizeof value);
    }
    const auto fixedPoint = static_cast<std::uint32_t>(saturatingInt32(value * 4));
    bytes[0] = static_cast<std::uint8_t>(fixedPoint >> 8);
    bytes[1] = static_cast<std::uint8_t>(fixedPoint);
    return write_raw(key, bytes, 2);
}
