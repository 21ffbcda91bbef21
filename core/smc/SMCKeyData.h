#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

/// The record exchanged with the System Management Controller's kernel user client.
///
/// The record is a wire format: 80 bytes, natural alignment, host byte order for every multi-byte integer. Padding is
/// explicit so that a zero-filled record has no uninitialised bytes. The assertions below define the format: the kernel
/// would misread a field at any other offset.
struct SMCVersion {
    std::uint8_t major;
    std::uint8_t minor;
    std::uint8_t build;
    std::uint8_t reserved;
    std::uint16_t release;
};

struct SMCPLimitData {
    std::uint16_t version;
    std::uint16_t length;
    std::uint32_t cpuPLimit;
    std::uint32_t gpuPLimit;
    std::uint32_t memPLimit;
};

struct SMCKeyDataInfo {
    std::uint32_t dataSize;
    std::uint32_t dataType;
    std::uint8_t dataAttributes;
    std::uint8_t padding[3];
};

struct SMCKeyData {
    std::uint32_t key;
    SMCVersion vers;
    std::uint16_t padding1;
    SMCPLimitData pLimitData;
    SMCKeyDataInfo keyInfo;
    std::uint8_t result;
    std::uint8_t status;
    std::uint8_t data8;
    std::uint8_t padding2;
    std::uint32_t data32;
    std::uint8_t bytes[32];
};

static_assert(std::endian::native == std::endian::little, "the record and \"flt \" values are little-endian");
static_assert(sizeof(SMCKeyData) == 80);
static_assert(offsetof(SMCKeyData, key) == 0 && sizeof(SMCKeyData::key) == 4);
static_assert(offsetof(SMCKeyData, vers.major) == 4 && sizeof(SMCVersion::major) == 1);
static_assert(offsetof(SMCKeyData, vers.minor) == 5 && sizeof(SMCVersion::minor) == 1);
static_assert(offsetof(SMCKeyData, vers.build) == 6 && sizeof(SMCVersion::build) == 1);
static_assert(offsetof(SMCKeyData, vers.reserved) == 7 && sizeof(SMCVersion::reserved) == 1);
static_assert(offsetof(SMCKeyData, vers.release) == 8 && sizeof(SMCVersion::release) == 2);
static_assert(offsetof(SMCKeyData, padding1) == 10 && sizeof(SMCKeyData::padding1) == 2);
static_assert(offsetof(SMCKeyData, pLimitData.version) == 12 && sizeof(SMCPLimitData::version) == 2);
static_assert(offsetof(SMCKeyData, pLimitData.length) == 14 && sizeof(SMCPLimitData::length) == 2);
static_assert(offsetof(SMCKeyData, pLimitData.cpuPLimit) == 16 && sizeof(SMCPLimitData::cpuPLimit) == 4);
static_assert(offsetof(SMCKeyData, pLimitData.gpuPLimit) == 20 && sizeof(SMCPLimitData::gpuPLimit) == 4);
static_assert(offsetof(SMCKeyData, pLimitData.memPLimit) == 24 && sizeof(SMCPLimitData::memPLimit) == 4);
static_assert(offsetof(SMCKeyData, keyInfo.dataSize) == 28 && sizeof(SMCKeyDataInfo::dataSize) == 4);
static_assert(offsetof(SMCKeyData, keyInfo.dataType) == 32 && sizeof(SMCKeyDataInfo::dataType) == 4);
static_assert(offsetof(SMCKeyData, keyInfo.dataAttributes) == 36 && sizeof(SMCKeyDataInfo::dataAttributes) == 1);
static_assert(offsetof(SMCKeyData, keyInfo.padding) == 37 && sizeof(SMCKeyDataInfo::padding) == 3);
static_assert(offsetof(SMCKeyData, result) == 40 && sizeof(SMCKeyData::result) == 1);
static_assert(offsetof(SMCKeyData, status) == 41 && sizeof(SMCKeyData::status) == 1);
static_assert(offsetof(SMCKeyData, data8) == 42 && sizeof(SMCKeyData::data8) == 1);
static_assert(offsetof(SMCKeyData, padding2) == 43 && sizeof(SMCKeyData::padding2) == 1);
static_assert(offsetof(SMCKeyData, data32) == 44 && sizeof(SMCKeyData::data32) == 4);
static_assert(offsetof(SMCKeyData, bytes) == 48 && sizeof(SMCKeyData::bytes) == 32);

namespace kelo {

/// Commands, sent in SMCKeyData::data8.
enum class SMCCommand : std::uint8_t { readBytes = 5, writeBytes = 6, readKeyInfo = 9 };

/// Packs the first four characters of `text` into a key or type code, with the first character in the most significant
/// byte.
constexpr std::uint32_t smcCode(const char* text) {
    std::uint32_t code = 0;
    for (int i = 0; i < 4; ++i)
        code = code << 8 | static_cast<unsigned char>(text[i]);
    return code;
}

/// The data types that the key client converts.
namespace smc_type {
inline constexpr std::uint32_t flt = smcCode("flt ");
inline constexpr std::uint32_t ui8 = smcCode("ui8 ");
inline constexpr std::uint32_t ui16 = smcCode("ui16");
inline constexpr std::uint32_t fpe2 = smcCode("fpe2");
} // namespace smc_type

static_assert(smcCode("FNum") == 0x464E756D);
static_assert(smc_type::flt == 0x666C7420 && smc_type::ui8 == 0x75693820);
static_assert(smc_type::ui16 == 0x75693136 && smc_type::fpe2 == 0x66706532);

} // namespace kelo
