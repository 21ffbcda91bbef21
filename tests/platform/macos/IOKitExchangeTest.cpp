#include "platform/macos/IOKitExchange.h"

#include <cstring>

#include "tests/platform/macos/doubles/IOKitDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"

namespace kelo {
namespace {

using doubles::journal;
using doubles::kernel;
using ::testing::Contains;
using ::testing::ElementsAre;

class IOKitExchangeTest : public doubles::OnDoubles {
protected:
    IOKitExchange exchange;
};

TEST_F(IOKitExchangeTest, OpensAUserClientAndReleasesTheService) {
    const auto connection = exchange.open();
    EXPECT_NE(connection, 0U);
    EXPECT_THAT(journal().take(), ElementsAre("IOServiceMatching AppleSMC", "IOServiceGetMatchingService AppleSMC",
                                              "IOServiceOpen AppleSMC own task type 0", "IOObjectRelease AppleSMC"));
    EXPECT_THAT(journal().live(), ElementsAre("connection: 1"));
    exchange.close(connection);
}

TEST_F(IOKitExchangeTest, ReleasesAServiceThatCannotBeOpened) {
    kernel().openStatus = kIOReturnNotPrivileged;
    EXPECT_EQ(exchange.open(), 0U);
    EXPECT_THAT(journal().take(), Contains("IOObjectRelease AppleSMC"));
}

TEST_F(IOKitExchangeTest, OpensNothingWithoutTheServiceOrAMatchingDictionary) {
    kernel().services.clear();
    EXPECT_EQ(exchange.open(), 0U);
    EXPECT_THAT(journal().take(), ElementsAre("IOServiceMatching AppleSMC", "IOServiceGetMatchingService AppleSMC"));
    kernel().isMatchingFailing = true;
    EXPECT_EQ(exchange.open(), 0U);
    EXPECT_THAT(journal().take(), ElementsAre("IOServiceMatching AppleSMC", "IOServiceGetMatchingService null"));
}

TEST_F(IOKitExchangeTest, ExchangesRecordsWithSelector2) {
    SMCKeyData seen{};
    kernel().driver = [&](const void* request, void* reply) {
        std::memcpy(&seen, request, sizeof seen);
        std::memset(reply, 0xAB, sizeof(SMCKeyData));
        return KERN_SUCCESS;
    };
    SMCKeyData request{};
    request.key = smcCode("FNum");
    request.data8 = 9;
    request.bytes[31] = 0x7F;
    SMCKeyData reply{};
    const auto connection = exchange.open();
    journal().take();
    EXPECT_TRUE(exchange.exchange(connection, request, reply));
    EXPECT_THAT(journal().take(), ElementsAre("IOConnectCallStructMethod connection selector 2 80 in 80 out"));
    EXPECT_EQ(std::memcmp(&seen, &request, sizeof seen), 0);
    EXPECT_EQ(reply.result, 0xAB);
    EXPECT_EQ(reply.bytes[31], 0xAB);
    exchange.close(connection);
}

TEST_F(IOKitExchangeTest, FailsForAnyStatusButSuccess) {
    const auto connection = exchange.open();
    SMCKeyData reply{};
    for (const kern_return_t status : {kIOReturnError, kIOReturnNotPrivileged, kIOReturnNotOpen, 1, -1}) {
        kernel().driver = [status](const void*, void*) { return status; };
        EXPECT_FALSE(exchange.exchange(connection, {}, reply)) << status;
    }
    kernel().driver = [](const void*, void*) { return KERN_SUCCESS; };
    EXPECT_TRUE(exchange.exchange(connection, {}, reply)) << "a failed call sets the reply size to 0";
    exchange.close(connection);
}

} // namespace
} // namespace kelo
