#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "testing/SMCFixture.h"

namespace kelo {
namespace {

using Limits = std::numeric_limits<float>;

class SMCConversion : public OpenSMCFixture {
protected:
    SMCConversion() { controller.define("Tst1", smc_type::flt, 4); }

    void store(std::uint32_t type, std::uint32_t size, std::initializer_list<std::uint8_t> bytes) {
        controller.define("Tst1", type, size, std::vector(bytes));
    }
    float readOk() {
        float value = -1;
        EXPECT_EQ(smc_read_float("Tst1", &value), 0);
        return value;
    }
    std::vector<std::uint8_t> written() {
        const auto& request = controller.log().back().request;
        return {request.bytes, request.bytes + request.keyInfo.dataSize};
    }
    /// Writes `value` to an "fpe2" key. Returns the two bytes that are sent, as one big-endian number.
    std::uint16_t writtenFixedPoint(float value) {
        controller.clearLog();
        EXPECT_EQ(smc_write_float("Tst1", value), 0);
        const auto bytes = written();
        EXPECT_EQ(bytes.size(), 2U);
        return static_cast<std::uint16_t>(bytes.at(0) << 8 | bytes.at(1));
    }
};

std::vector<float> specialFloats() {
    const float limit = std::ldexp(1.0F, 31);
    return {0.0F,
            -0.0F,
            1.0F,
            -1.0F,
            Limits::min(),
            Limits::denorm_min(),
            -Limits::denorm_min(),
            Limits::max(),
            Limits::lowest(),
            Limits::infinity(),
            -Limits::infinity(),
            Limits::quiet_NaN(),
            -Limits::quiet_NaN(),
            Limits::signaling_NaN(),
            limit,
            -limit,
            std::nextafter(limit, 0.0F),
            std::nextafter(-limit, 0.0F),
            std::nextafter(limit, Limits::infinity()),
            std::nextafter(-limit, -Limits::infinity()),
            limit / 4,
            -limit / 4,
            std::nextafter(limit / 4, 0.0F),
            16383.75F,
            16384.0F,
            0.25F,
            0.2499F};
}

std::vector<float> randomFloats(std::size_t count) {
    std::mt19937 random(20260816);
    std::vector<float> floats(count);
    for (auto& value : floats)
        value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
    return floats;
}

TEST_F(SMCConversion, ReadsAnExampleOfEachType) {
    store(smc_type::fpe2, 2, {0x1F, 0x43});
    EXPECT_EQ(readOk(), 2000.0F);
    store(smc_type::ui16, 2, {0x07, 0xD0});
    EXPECT_EQ(readOk(), 2000.0F);
    store(smc_type::ui8, 1, {0x05});
    EXPECT_EQ(readOk(), 5.0F);
    store(smc_type::flt, 4, {0x00, 0x40, 0x1C, 0x45});
    EXPECT_EQ(readOk(), 2500.0F);
}

TEST_F(SMCConversion, ReadsEveryFixedPointValueWithoutItsFractionBits) {
    for (unsigned raw = 0; raw <= 0xFFFF; ++raw) {
        controller.clearLog();
        store(smc_type::fpe2, 2, {static_cast<std::uint8_t>(raw >> 8), static_cast<std::uint8_t>(raw)});
        ASSERT_EQ(readOk(), std::floor(static_cast<float>(raw) / 4)) << raw;
    }
}

TEST_F(SMCConversion, ReadsEvery16BitValueAsBigEndian) {
    for (unsigned raw = 0; raw <= 0xFFFF; ++raw) {
        controller.clearLog();
        store(smc_type::ui16, 2, {static_cast<std::uint8_t>(raw >> 8), static_cast<std::uint8_t>(raw)});
        ASSERT_EQ(readOk(), static_cast<float>(raw));
    }
}

TEST_F(SMCConversion, ReadsEveryByte) {
    for (unsigned raw = 0; raw <= 0xFF; ++raw) {
        store(smc_type::ui8, 1, {static_cast<std::uint8_t>(raw), 0xFF});
        ASSERT_EQ(readOk(), static_cast<float>(raw));
    }
}

TEST_F(SMCConversion, ReadsFloatsBitForBit) {
    auto floats = randomFloats(50'000);
    const auto special = specialFloats();
    floats.insert(floats.end(), special.begin(), special.end());
    for (const auto value : floats) {
        controller.clearLog();
        std::memcpy(controller.key("Tst1").bytes.data(), &value, sizeof value);
        ASSERT_EQ(std::bit_cast<std::uint32_t>(readOk()), std::bit_cast<std::uint32_t>(value));
    }
}

TEST_F(SMCConversion, ChecksTheSizeOfFloatsOnly) {
    for (const std::uint32_t size : {0U, 1U, 2U, 3U, 5U, 8U, 32U, 33U, 4'294'967'295U}) {
        store(smc_type::flt, size, {0x00, 0x40, 0x1C, 0x45});
        float value = 7;
        EXPECT_EQ(smc_read_float("Tst1", &value), -3) << "a float of size " << size;
        EXPECT_EQ(value, 7.0F);
        store(smc_type::ui8, size, {5});
        EXPECT_EQ(readOk(), 5.0F);
        store(smc_type::ui16, size, {0x07, 0xD0});
        EXPECT_EQ(readOk(), 2000.0F);
        store(smc_type::fpe2, size, {0x1F, 0x43});
        EXPECT_EQ(readOk(), 2000.0F);
    }
}

TEST_F(SMCConversion, RefusesToConvertUnknownTypesToFloats) {
    for (const auto* type : {"ui32", "si16", "sp78", "hex_", "flag", "FLT ", "flt\t", "\0\0\0\0", "\xFF\xFF\xFF\xFF"}) {
        store(smcCode(type), 4, {0x11, 0x22, 0x33, 0x44});
        float number = 7;
        std::uint8_t byte = 0;
        EXPECT_EQ(smc_read_float("Tst1", &number), -3);
        EXPECT_EQ(number, 7.0F);
        EXPECT_EQ(smc_read_u8("Tst1", &byte), 0);
        EXPECT_EQ(byte, 0x11);
    }
}

TEST_F(SMCConversion, TruncatesFixedPointValuesAndWritesThemAsBigEndian) {
    store(smc_type::fpe2, 2, {});
    EXPECT_EQ(writtenFixedPoint(1000.6F), 0x0FA2);
    EXPECT_EQ(writtenFixedPoint(1234.9F), 0x134B);
}

TEST_F(SMCConversion, RoundTripsEveryFixedPointValue) {
    for (unsigned raw = 0; raw <= 0xFFFF; ++raw) {
        store(smc_type::fpe2, 2, {});
        ASSERT_EQ(writtenFixedPoint(static_cast<float>(raw) / 4), raw);
        ASSERT_EQ(controller.number("Tst1"), raw / 4.0);
    }
}

/// Computes the expected result in a type that is wide enough not to overflow.
std::uint16_t expectedFixedPoint(float value) {
    if (std::isnan(value))
        return 0;
    const double scaled = std::trunc(static_cast<double>(value * 4));
    const auto saturated = static_cast<std::int64_t>(std::fmin(std::fmax(scaled, -2147483648.0), 2147483647.0));
    return static_cast<std::uint16_t>(saturated & 0xFFFF);
}

TEST_F(SMCConversion, SaturatesFixedPointTo32BitsAndWritesTheLow16Bits) {
    store(smc_type::fpe2, 2, {});
    auto floats = randomFloats(50'000);
    const auto special = specialFloats();
    floats.insert(floats.end(), special.begin(), special.end());
    for (const auto value : floats)
        ASSERT_EQ(writtenFixedPoint(value), expectedFixedPoint(value)) << value;
    EXPECT_EQ(writtenFixedPoint(Limits::infinity()), 0xFFFF);
    EXPECT_EQ(writtenFixedPoint(-Limits::infinity()), 0x0000);
    EXPECT_EQ(writtenFixedPoint(Limits::quiet_NaN()), 0x0000);
    EXPECT_EQ(writtenFixedPoint(-1.0F), 0xFFFC);
    EXPECT_EQ(writtenFixedPoint(-0.2F), 0x0000);
}

TEST_F(SMCConversion, WritesTheFourBytesOfAFloatToAnyOtherType) {
    auto floats = randomFloats(1'000);
    const auto special = specialFloats();
    floats.insert(floats.end(), special.begin(), special.end());
    for (const auto* type : {"flt ", "ui8 ", "ui16", "xyz "})
        for (const std::uint32_t size : {1U, 4U, 33U}) {
            controller.define("Tst1", smcCode(type), size);
            for (const auto value : floats) {
                controller.clearLog();
                smc_write_float("Tst1", value);
                const auto bytes = written();
                ASSERT_EQ(bytes.size(), 4U);
                ASSERT_EQ(std::memcmp(bytes.data(), &value, 4), 0);
            }
        }
}

} // namespace
} // namespace kelo
