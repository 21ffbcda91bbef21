#include <gmock/gmock.h>

#include <array>

#include "core/smc/smc_raw.h"
#include "testing/SMCFixture.h"

namespace kelo {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

class SMCConnection : public SMCFixture {};
class SMCKeyClient : public OpenSMCFixture {};

TEST_F(SMCConnection, OpeningTwiceOpensOnce) {
    EXPECT_EQ(smc_open(), 0);
    EXPECT_EQ(smc_open(), 0);
    EXPECT_EQ(exchange.opens(), 1);
}

TEST_F(SMCConnection, ClosingAClosedConnectionDoesNothing) {
    smc_close();
    EXPECT_EQ(smc_open(), 0);
    smc_close();
    smc_close();
    EXPECT_EQ(exchange.openConnections(), 0);
    EXPECT_EQ(exchange.wrongCloses(), 0);
}

TEST_F(SMCConnection, FailsToOpenWithoutTheService) {
    exchange.isPresent = false;
    EXPECT_EQ(smc_open(), -3);
    exchange.isPresent = true;
    EXPECT_EQ(smc_open(), 0);
    EXPECT_EQ(exchange.opens(), 2);
}

TEST_F(SMCConnection, FailsToOpenWithoutAnExchange) {
    smc_set_exchange(nullptr);
    EXPECT_EQ(smc_open(), -3);
    std::uint8_t value = 7;
    EXPECT_EQ(smc_read_u8("FNum", &value), -2);
    EXPECT_EQ(value, 7);
}

TEST_F(SMCConnection, CanBeReopened) {
    EXPECT_EQ(smc_open(), 0);
    smc_close();
    EXPECT_EQ(smc_open(), 0);
    EXPECT_EQ(exchange.opens(), 2);
}

TEST_F(SMCConnection, ReadsAndWritesReturnMinusTwoWhenClosed) {
    controller.defineNumber("FNum", smc_type::ui8, 2);
    std::uint8_t byte = 7;
    float number = 7;
    EXPECT_EQ(smc_read_u8("FNum", &byte), -2);
    EXPECT_EQ(smc_read_float("FNum", &number), -2);
    EXPECT_EQ(smc_write_u8("FNum", 1), -2);
    EXPECT_EQ(smc_write_float("FNum", 1), -2);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(number, 7.0F);
    EXPECT_TRUE(controller.log().empty());
}

TEST_F(SMCConnection, RawWritesReturnMinusThreeWhenClosed) {
    const std::uint8_t byte = 1;
    EXPECT_EQ(write_raw("FNum", &byte, 1), -3);
}

TEST_F(SMCKeyClient, ReadsTheKeyInfoBeforeTheBytes) {
    controller.defineNumber("FNum", smc_type::ui8, 2);
    std::uint8_t value = 0;
    EXPECT_EQ(smc_read_u8("FNum", &value), 0);
    EXPECT_EQ(value, 2);
    EXPECT_THAT(controller.texts(), ElementsAre("info FNum", "read FNum"));
}

TEST_F(SMCKeyClient, ReadsTheKeyInfoBeforeWriting) {
    controller.defineNumber("F0Md", smc_type::ui8, 0);
    EXPECT_EQ(smc_write_u8("F0Md", 1), 0);
    EXPECT_THAT(controller.texts(), ElementsAre("info F0Md", "write F0Md 01"));
    EXPECT_EQ(controller.number("F0Md"), 1);
}

TEST_F(SMCKeyClient, DoesNotCacheTheKeyInfo) {
    controller.defineNumber("FNum", smc_type::ui8, 2);
    std::uint8_t value = 0;
    smc_read_u8("FNum", &value);
    smc_read_u8("FNum", &value);
    EXPECT_THAT(controller.texts(), ElementsAre("info FNum", "read FNum", "info FNum", "read FNum"));
}

TEST_F(SMCKeyClient, UsesTheNewTypeOfAKeyThatChangesType) {
    controller.defineNumber("F0Ac", smc_type::ui16, 2000);
    float value = 0;
    ASSERT_EQ(smc_read_float("F0Ac", &value), 0);
    controller.defineNumber("F0Ac", smc_type::flt, 2500.5);
    ASSERT_EQ(smc_read_float("F0Ac", &value), 0);
    EXPECT_EQ(value, 2500.5F);
}

TEST_F(SMCKeyClient, ReturnsMinusTwoForAnUnknownKey) {
    std::uint8_t byte = 7;
    float number = 7;
    EXPECT_EQ(smc_read_u8("Nope", &byte), -2);
    EXPECT_EQ(smc_read_float("Nope", &number), -2);
    EXPECT_EQ(smc_write_u8("Nope", 1), -2);
    EXPECT_EQ(smc_write_float("Nope", 1), -2);
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(number, 7.0F);
}

TEST_F(SMCKeyClient, UsesOnlyTheFirstFourCharactersOfAKey) {
    controller.defineNumber("F10A", smc_type::ui8, 9);
    std::uint8_t value = 0;
    EXPECT_EQ(smc_read_u8("F10Ac", &value), 0);
    EXPECT_EQ(value, 9);
}

TEST_F(SMCKeyClient, NeedsNoTerminatorAfterAKey) {
    controller.defineNumber("FNum", smc_type::ui8, 3);
    const std::array<char, 4> key = {'F', 'N', 'u', 'm'}; // a fifth byte would be read out of bounds
    std::uint8_t value = 0;
    EXPECT_EQ(smc_read_u8(key.data(), &value), 0);
    EXPECT_EQ(value, 3);
}

TEST_F(SMCKeyClient, ReturnsMinusTwoOrMinusThreeForAFailedExchange) {
    controller.defineNumber("F0Tg", smc_type::flt, 2);
    std::uint8_t byte = 7;
    float number = 7;
    const std::pair<int, std::int32_t> statusOfExchange[] = {{1, -2}, {2, -3}}; // the key info, then the data
    for (const auto& [exchangeToFail, status] : statusOfExchange) {
        controller.failExchange(exchangeToFail);
        EXPECT_EQ(smc_read_u8("F0Tg", &byte), status);
        controller.failExchange(exchangeToFail);
        EXPECT_EQ(smc_read_float("F0Tg", &number), status);
        controller.failExchange(exchangeToFail);
        EXPECT_EQ(smc_write_u8("F0Tg", 1), status);
        controller.failExchange(exchangeToFail);
        EXPECT_EQ(smc_write_float("F0Tg", 1), status);
    }
    EXPECT_EQ(byte, 7);
    EXPECT_EQ(number, 7.0F);
    EXPECT_EQ(controller.number("F0Tg"), 2);
}

TEST_F(SMCKeyClient, ReturnsMinusTwoForAnyKeyInfoError) {
    controller.defineNumber("FNum", smc_type::ui8, 2);
    for (int result = 1; result <= 255; ++result) {
        controller.clearFaults();
        controller.answer("FNum", SMCCommand::readKeyInfo, static_cast<std::uint8_t>(result));
        SMCKeyInfo info = {11, 12, 13};
        EXPECT_EQ(fetch_keyinfo("FNum", &info), -2);
        EXPECT_EQ(info.dataSize, 11U);
        EXPECT_EQ(info.dataType, 12U);
        EXPECT_EQ(info.dataAttributes, 13U);
        std::uint8_t value = 7;
        EXPECT_EQ(smc_read_u8("FNum", &value), -2);
        EXPECT_EQ(value, 7);
    }
}

TEST_F(SMCKeyClient, ReturnsTheResultByteOfARead) {
    controller.defineNumber("FNum", smc_type::ui8, 2);
    for (int result = 0; result <= 255; ++result) {
        controller.clearFaults();
        if (result != 0)
            controller.answer("FNum", SMCCommand::readBytes, static_cast<std::uint8_t>(result));
        std::uint8_t byte = 7;
        float number = 7;
        EXPECT_EQ(smc_read_u8("FNum", &byte), result);
        EXPECT_EQ(smc_read_float("FNum", &number), result);
        EXPECT_EQ(byte, result == 0 ? 2 : 7);
        EXPECT_EQ(number, result == 0 ? 2.0F : 7.0F);
    }
}

TEST_F(SMCKeyClient, ReturnsTheResultByteOfAWrite) {
    controller.defineNumber("F0Tg", smc_type::flt, 2);
    const std::uint8_t bytes[4] = {};
    for (int result = 0; result <= 255; ++result) {
        controller.clearFaults();
        if (result != 0)
            controller.answer("F0Tg", SMCCommand::writeBytes, static_cast<std::uint8_t>(result));
        EXPECT_EQ(smc_write_u8("F0Tg", 1), result);
        EXPECT_EQ(smc_write_float("F0Tg", 1), result);
        EXPECT_EQ(write_raw("F0Tg", bytes, 4), result);
    }
}

TEST_F(SMCKeyClient, ReturnsSizeTypeAndAttributesAsKeyInfo) {
    controller.define("Tst1", smc_type::ui16, 2);
    controller.key("Tst1").attributes = 0xD4;
    SMCKeyInfo info{};
    ASSERT_EQ(fetch_keyinfo("Tst1", &info), 0);
    EXPECT_EQ(info.dataSize, 2U);
    EXPECT_EQ(info.dataType, smc_type::ui16);
    EXPECT_EQ(info.dataAttributes & 0xFFU, 0xD4U);
}

TEST_F(SMCKeyClient, ARawReadCopiesAll32Bytes) {
    std::uint8_t stored[32];
    for (std::uint8_t i = 0; i < 32; ++i)
        stored[i] = static_cast<std::uint8_t>(i + 1);
    controller.define("Tst1", smc_type::ui8, 1, stored);
    SMCKeyInfo info{};
    std::uint8_t value[32] = {};
    ASSERT_EQ(read_raw("Tst1", &info, value), 0);
    EXPECT_THAT(value, ::testing::ElementsAreArray(stored));
    EXPECT_EQ(info.dataSize, 1U);
}

TEST_F(SMCKeyClient, AFailedRawReadLeavesBothOutputsUntouched) {
    controller.defineNumber("FNum", smc_type::ui8, 2);
    for (const int exchangeToFail : {1, 2}) {
        controller.failExchange(exchangeToFail);
        SMCKeyInfo info = {11, 12, 13};
        std::uint8_t value[32];
        std::fill_n(value, 32, std::uint8_t{0xEE});
        EXPECT_NE(read_raw("FNum", &info, value), 0);
        EXPECT_EQ(info.dataSize, 11U);
        EXPECT_EQ(info.dataType, 12U);
        EXPECT_EQ(info.dataAttributes, 13U);
        EXPECT_THAT(value, Each(0xEE));
    }
}

TEST_F(SMCKeyClient, ARawWriteSendsAtMost32Bytes) {
    std::array<std::uint8_t, 32> source;
    source.fill(0xAB); // exactly 32: reading a 33rd byte would be out of bounds
    for (const std::uint32_t n : {0U, 1U, 31U, 32U, 33U, 4'294'967'295U}) {
        controller.clearLog();
        write_raw("F0Tg", source.data(), n);
        const auto& request = controller.log().back().request;
        EXPECT_EQ(request.keyInfo.dataSize, n);
        for (std::uint32_t i = 0; i < 32; ++i)
            EXPECT_EQ(request.bytes[i], i < n ? 0xAB : 0) << "byte " << i << " of " << n;
    }
}

TEST_F(SMCKeyClient, AByteReadReturnsByteZeroOfAValueOfAnyType) {
    const std::uint8_t stored[] = {0x5A, 0x01, 0x02, 0x03};
    for (const auto* type : {"flt ", "ui8 ", "ui16", "fpe2", "xyz "})
        for (const std::uint32_t size : {0U, 1U, 4U, 33U}) {
            controller.define("Tst1", smcCode(type), size, stored);
            std::uint8_t value = 0;
            EXPECT_EQ(smc_read_u8("Tst1", &value), 0);
            EXPECT_EQ(value, 0x5A);
        }
}

TEST_F(SMCKeyClient, AByteWriteSendsAtLeastOneByte) {
    const std::pair<std::uint32_t, std::uint32_t> sentForSize[] = {{0, 1}, {1, 1}, {2, 2}, {4, 4}, {32, 32}, {33, 33}};
    for (const auto& [size, sent] : sentForSize) {
        controller.define("Tst1", smc_type::ui8, size);
        EXPECT_EQ(smc_write_u8("Tst1", 0xC3), 0);
        const auto& request = controller.log().back().request;
        EXPECT_EQ(request.keyInfo.dataSize, sent);
        EXPECT_EQ(request.bytes[0], 0xC3);
        for (int i = 1; i < 32; ++i)
            EXPECT_EQ(request.bytes[i], 0) << "byte " << i << " of size " << size;
    }
}

TEST_F(SMCKeyClient, OnlyReadsSucceedWithoutRoot) {
    controller.defineNumber("F0Md", smc_type::ui8, 0);
    exchange.isRoot = false;
    std::uint8_t value = 7;
    EXPECT_EQ(smc_read_u8("F0Md", &value), 0);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(smc_write_u8("F0Md", 1), -3);
    EXPECT_EQ(controller.number("F0Md"), 0);
}

} // namespace
} // namespace kelo
