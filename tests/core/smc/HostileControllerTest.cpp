#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <random>

#include "core/smc/SMCExchange.h"
#include "core/smc/smc_raw.h"
#include "testing/SMCFixture.h"

namespace kelo {
namespace {

using ::testing::Each;

class HostileController : public OpenSMCFixture {};

constexpr std::uint32_t hostileSizes[] = {0, 1, 33, 4'294'967'295U};

TEST_F(HostileController, StaysWithinTheBuffersForAnyReportedSize) {
    for (const auto size : hostileSizes)
        for (const auto* type : {"flt ", "ui8 ", "ui16", "fpe2", "????"}) {
            controller.define("Tst1", smcCode(type), size);
            struct {
                std::uint8_t before[16];
                std::uint8_t value[32];
                std::uint8_t after[16];
            } guarded;
            std::memset(&guarded, 0xEE, sizeof guarded);
            SMCKeyInfo info{};
            EXPECT_EQ(read_raw("Tst1", &info, guarded.value), 0);
            EXPECT_EQ(info.dataSize, size);
            EXPECT_THAT(guarded.before, Each(0xEE));
            EXPECT_THAT(guarded.after, Each(0xEE));
            EXPECT_THAT(guarded.value, Each(0));

            EXPECT_EQ(smc_write_u8("Tst1", 1), 0);
            EXPECT_EQ(controller.log().back().request.keyInfo.dataSize, std::max(size, 1U));
            smc_write_float("Tst1", 1); // its status depends on the size; the sanitizers check the rest
        }
}

class RandomExchange : public SMCExchange {
public:
    std::uint32_t open() override { return 1; }
    bool exchange(std::uint32_t, const SMCKeyData&, SMCKeyData& reply) noexcept override {
        auto* bytes = reinterpret_cast<std::uint8_t*>(&reply);
        for (std::size_t i = 0; i < sizeof reply; ++i)
            bytes[i] = static_cast<std::uint8_t>(random_());
        if (random_() % 2 == 0)
            reply.result = 0;
        if (random_() % 2 == 0)
            reply.keyInfo.dataType = smcCode("flt ");
        return random_() % 8 != 0;
    }
    void close(std::uint32_t) noexcept override {}

private:
    std::mt19937 random_{7};
};

/// Sends replies with non-zero padding after the attributes.
class PaddingExchange : public SMCExchange {
public:
    std::uint32_t open() override { return 1; }
    bool exchange(std::uint32_t, const SMCKeyData& request, SMCKeyData& reply) noexcept override {
        wereRepliesZero = wereRepliesZero && isZero(reply) && request.keyInfo.padding[0] == 0;
        reply.keyInfo = {1, smcCode("ui8 "), 0xD4, {0x11, 0x22, 0x33}};
        reply.bytes[0] = 9;
        return true;
    }
    void close(std::uint32_t) noexcept override {}

    bool wereRepliesZero = true; ///< Every reply buffer was zero when passed in.

private:
    static bool isZero(const SMCKeyData& record) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(&record);
        return std::all_of(bytes, bytes + sizeof record, [](std::uint8_t byte) { return byte == 0; });
    }
};

TEST(PaddedController, ReadsTheAttributesAsAWordAndZeroesEveryReplyBuffer) {
    PaddingExchange exchange;
    smc_set_exchange(&exchange);
    ASSERT_EQ(smc_open(), 0);
    SMCKeyInfo info{};
    EXPECT_EQ(fetch_keyinfo("Tst1", &info), 0);
    EXPECT_EQ(info.dataAttributes, 0x332211D4U);
    std::uint8_t value = 0;
    EXPECT_EQ(smc_read_u8("Tst1", &value), 0);
    EXPECT_EQ(smc_write_u8("Tst1", 1), 0);
    EXPECT_TRUE(exchange.wereRepliesZero);
    smc_close();
    smc_set_exchange(nullptr);
}

TEST(RandomController, LeavesTheOutputUntouchedOnFailureForAnyReply) {
    RandomExchange exchange;
    smc_set_exchange(&exchange);
    ASSERT_EQ(smc_open(), 0);
    for (int i = 0; i < 20'000; ++i) {
        std::uint8_t byte = 7;
        if (smc_read_u8("Tst1", &byte) != 0) {
            ASSERT_EQ(byte, 7);
        }
        float number = 7;
        if (smc_read_float("Tst1", &number) != 0) {
            ASSERT_EQ(number, 7.0F);
        }
        const auto status = smc_write_u8("Tst1", 1);
        ASSERT_TRUE(status == 0 || status == -2 || status == -3 || (status >= 1 && status <= 255)) << status;
        smc_write_float("Tst1", std::numeric_limits<float>::infinity());
    }
    smc_close();
    smc_set_exchange(nullptr);
}

} // namespace
} // namespace kelo
