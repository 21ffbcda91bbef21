#include <gmock/gmock.h>

#include <cstring>
#include <vector>

#include "testing/SMCFixture.h"

namespace kelo {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(const SMCKeyData& record) {
    Bytes bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

/// Returns 80 bytes that are zero except for the given runs.
Bytes golden(std::initializer_list<std::pair<std::size_t, Bytes>> runs) {
    Bytes bytes(80, 0);
    for (const auto& [offset, run] : runs)
        std::copy(run.begin(), run.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    return bytes;
}

class ExchangeRecordTest : public OpenSMCFixture {
protected:
    Bytes request(std::size_t index) { return bytesOf(controller.log().at(index).request); }
};

constexpr std::size_t keyAt = 0;
constexpr std::size_t sizeAt = 28;
constexpr std::size_t commandAt = 42;
constexpr std::size_t valueAt = 48;
const Bytes f0Tg = {'g', 'T', '0', 'F'}; // the key's code in little-endian order

TEST_F(ExchangeRecordTest, ReadsTheKeyInfoWithCommand9AndTheBytesWithCommand5) {
    controller.defineNumber("F0Tg", smc_type::flt, 2500);
    float value = 0;
    ASSERT_EQ(smc_read_float("F0Tg", &value), 0);
    ASSERT_EQ(controller.log().size(), 2U);
    EXPECT_EQ(request(0), golden({{keyAt, f0Tg}, {commandAt, {9}}}));
    EXPECT_EQ(request(1), golden({{keyAt, f0Tg}, {sizeAt, {4, 0, 0, 0}}, {commandAt, {5}}}));
}

TEST_F(ExchangeRecordTest, AWriteRequestContainsTheKeyItsSizeCommand6AndTheBytes) {
    controller.defineNumber("F0Tg", smc_type::flt, 0);
    ASSERT_EQ(smc_write_float("F0Tg", 2500.0F), 0);
    ASSERT_EQ(controller.log().size(), 2U);
    EXPECT_EQ(request(0), golden({{keyAt, f0Tg}, {commandAt, {9}}}));
    EXPECT_EQ(
        request(1),
        golden(
            {{keyAt, f0Tg}, {sizeAt, {4, 0, 0, 0}}, {commandAt, {6}}, {valueAt, {0x00, 0x40, 0x1C, 0x45}}})); // 2500.0F
}

TEST_F(ExchangeRecordTest, AKeyInfoReplyHasTheExpectedLayout) {
    controller.define("F0Tg", smc_type::flt, 4);
    controller.key("F0Tg").attributes = 0xC0;
    float value = 0;
    ASSERT_EQ(smc_read_float("F0Tg", &value), 0);
    EXPECT_EQ(bytesOf(*controller.log().at(0).reply),
              golden({{keyAt, f0Tg}, {sizeAt, {4, 0, 0, 0}}, {32, {' ', 't', 'l', 'f'}}, {36, {0xC0}}}));
}

TEST_F(ExchangeRecordTest, PutsTheFirstKeyCharacterInTheMostSignificantByte) {
    std::uint8_t value = 0;
    smc_read_u8("FNum", &value);
    EXPECT_EQ(controller.log().at(0).request.key, 0x464E756DU);
}

TEST_F(ExchangeRecordTest, DoesNotSignExtendKeyBytes) {
    std::uint8_t value = 0;
    smc_read_u8("\xFF\x80\x01\xFE", &value);
    EXPECT_EQ(controller.log().at(0).request.key, 0xFF8001FEU);
}

} // namespace
} // namespace kelo
