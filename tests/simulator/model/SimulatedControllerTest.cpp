#include "simulator/model/SimulatedController.h"

#include <gmock/gmock.h>

#include <limits>

#include "core/fan/FanController.h"
#include "simulator/model/Profile.h"
#include "testing/SMCFixture.h"
#include "testing/ScriptedRights.h"
#include "testing/VirtualClock.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

class SimulatedControllerTest : public OpenSMCFixture {};

TEST_F(SimulatedControllerTest, RefusesAReadOrWriteWithTheWrongSize) {
    controller.defineNumber("F0Tg", smc_type::flt, 2000);
    SMCKeyData request{};
    request.key = smcCode("F0Tg");
    request.keyInfo.dataSize = 2;
    for (const auto command : {SMCCommand::readBytes, SMCCommand::writeBytes}) {
        request.data8 = static_cast<std::uint8_t>(command);
        EXPECT_EQ(controller.exchange(request)->result, SimulatedController::sizeMismatch);
    }
    EXPECT_EQ(controller.number("F0Tg"), 2000);
}

TEST_F(SimulatedControllerTest, RefusesAnUnknownCommand) {
    controller.defineNumber("FNum", smc_type::ui8, 2);
    SMCKeyData request{};
    request.key = smcCode("FNum");
    request.data8 = 7;
    EXPECT_EQ(controller.exchange(request)->result, SimulatedController::badCommand);
}

TEST_F(SimulatedControllerTest, RefusesReadsAndWritesThatTheAttributesForbid) {
    controller.defineNumber("FNum", smc_type::ui8, 2);
    controller.key("FNum").attributes = SimulatedController::readable;
    EXPECT_EQ(smc_write_u8("FNum", 3), SimulatedController::notWritable);
    controller.key("FNum").attributes = SimulatedController::writable;
    std::uint8_t value = 0;
    EXPECT_EQ(smc_read_u8("FNum", &value), SimulatedController::notReadable);
}

TEST_F(SimulatedControllerTest, ReportsAFakedSizeOrTypeInTheKeyInfo) {
    controller.defineNumber("F0Ac", smc_type::flt, 2000);
    controller.reportSize("F0Ac", 2);
    float value = 7;
    EXPECT_EQ(smc_read_float("F0Ac", &value), -3);
    controller.clearFaults();
    controller.reportType("F0Ac", smcCode("ui32"));
    EXPECT_EQ(smc_read_float("F0Ac", &value), -3);
    controller.clearFaults();
    EXPECT_EQ(smc_read_float("F0Ac", &value), 0);
}

TEST_F(SimulatedControllerTest, SaturatesIntegersAndStoresNaNAsZero) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const std::pair<std::uint32_t, double> greatest[] = {
        {smc_type::ui8, 255}, {smc_type::ui16, 65535}, {smc_type::fpe2, 65535 / 4.0}};
    for (const auto& [type, most] : greatest) {
        controller.defineNumber("F0Md", type, 7);
        for (const auto& [set, held] :
             {std::pair(nan, 0.0), {infinity, most}, {7.0, 7.0}, {-infinity, 0.0}, {-1.0, 0.0}, {1e9, most}}) {
            controller.setNumber("F0Md", set);
            EXPECT_EQ(controller.number("F0Md"), held) << set;
        }
    }
}

TEST_F(SimulatedControllerTest, AFaultCanBeLimitedToAKeyOrACommand) {
    controller.defineNumber("F0Md", smc_type::ui8, 0);
    controller.defineNumber("F1Md", smc_type::ui8, 0);
    controller.answer("F0Md", std::nullopt, 0x11);
    controller.answer(std::nullopt, SMCCommand::writeBytes, 0x22);
    std::uint8_t value = 0;
    EXPECT_EQ(smc_read_u8("F0Md", &value), -2);
    EXPECT_EQ(smc_read_u8("F1Md", &value), 0);
    EXPECT_EQ(smc_write_u8("F1Md", 1), 0x22);
    controller.answer(std::nullopt, std::nullopt, 0x33);
    EXPECT_EQ(smc_read_u8("F1Md", &value), -2);
}

TEST_F(SimulatedControllerTest, FailsOnlyTheNthExchange) {
    controller.defineNumber("FNum", smc_type::ui8, 2);
    controller.failExchange(3);
    std::uint8_t value = 0;
    EXPECT_EQ(smc_read_u8("FNum", &value), 0);
    EXPECT_EQ(smc_read_u8("FNum", &value), -2);
    EXPECT_EQ(smc_read_u8("FNum", &value), 0);
    EXPECT_THAT(controller.texts(),
                ElementsAre("info FNum", "read FNum", "info FNum -> failed", "info FNum", "read FNum"));
}

TEST_F(SimulatedControllerTest, GrantsManualModeOnlyAfterTheUnlockDelay) {
    controller.defineNumber("F0Md", smc_type::ui8, 0);
    controller.defineNumber("Ftst", smc_type::ui8, 0);
    controller.setUnlockRule({true, 1.0});
    EXPECT_EQ(smc_write_u8("F0Md", 1), SimulatedController::modeRefused);
    EXPECT_EQ(smc_write_u8("Ftst", 1), 0);
    now = 0.99;
    EXPECT_EQ(smc_write_u8("Ftst", 1), 0); // writing 1 again does not restart the delay
    EXPECT_EQ(smc_write_u8("F0Md", 1), SimulatedController::modeRefused);
    now = 1.0;
    EXPECT_EQ(smc_write_u8("F0Md", 1), 0);
    EXPECT_EQ(smc_write_u8("Ftst", 0), 0);
    EXPECT_EQ(smc_write_u8("F0Md", 1), SimulatedController::modeRefused);
    EXPECT_EQ(smc_write_u8("F0Md", 0), 0); // automatic mode is never refused
}

TEST_F(SimulatedControllerTest, AppliesTheUnlockSwitchIfItChangesWithoutAWrite) {
    controller.defineNumber("F0Md", smc_type::ui8, 0);
    controller.defineNumber("Ftst", smc_type::ui8, 0);
    controller.setUnlockRule({true, 1.0});
    controller.setNumber("Ftst", 1);
    EXPECT_EQ(smc_write_u8("F0Md", 1), SimulatedController::modeRefused);
    now = 1.0;
    EXPECT_EQ(smc_write_u8("F0Md", 1), 0);
    controller.setNumber("Ftst", 0);
    EXPECT_EQ(smc_write_u8("F0Md", 1), SimulatedController::modeRefused);
}

TEST_F(SimulatedControllerTest, LogsRequestReplyAndTime) {
    controller.defineNumber("FNum", smc_type::ui8, 2);
    now = 12.5;
    std::uint8_t value = 0;
    ASSERT_EQ(smc_read_u8("FNum", &value), 0);
    ASSERT_THAT(controller.log(), SizeIs(2));
    const auto& record = controller.log().back();
    EXPECT_EQ(record.time, 12.5);
    EXPECT_EQ(record.request.data8, 5);
    EXPECT_EQ(record.reply->bytes[0], 2);
}

TEST_F(SimulatedControllerTest, KeepsTheNewestRecordsInTheLog) {
    controller.defineNumber("FNum", smc_type::ui8, 2);
    std::uint8_t value = 0;
    for (std::size_t i = 0; i < SimulatedController::logCapacity; ++i)
        smc_read_u8("FNum", &value);
    EXPECT_THAT(controller.log(), SizeIs(SimulatedController::logCapacity));
    smc_write_u8("FNum", 3);
    EXPECT_EQ(controller.log().back().text(), "write FNum 03");
}

TEST(Profiles, EachProfileDefinesItsFansAndAChipTemperature) {
    const std::pair<const char*, std::size_t> usableFans[] = {
        {"laptop", 2}, {"desktop", 1}, {"locked", 2}, {"refusing", 1}, {"fixed", 0}};
    for (const auto& [name, count] : usableFans) {
        double now = 0;
        SimulatedController controller;
        SimulatedExchange exchange(controller);
        VirtualClock clock(now);
        ScriptedRights rights;
        Profile::named(name)->defineKeys(controller);
        {
            const FanController fans(exchange, clock, rights);
            EXPECT_THAT(fans.fans(), SizeIs(count)) << name;
            EXPECT_TRUE(fans.chipTemperature().has_value()) << name;
        }
    }
}

TEST(Profiles, TheFanlessProfileHasNoFan) {
    double now = 0;
    SimulatedController controller;
    SimulatedExchange exchange(controller);
    VirtualClock clock(now);
    ScriptedRights rights;
    Profile::named("fanless")->defineKeys(controller);
    EXPECT_THROW(FanController(exchange, clock, rights), FanError);
}

TEST(Profiles, FindsNoProfileForAnUnknownName) { EXPECT_FALSE(Profile::named("toaster").has_value()); }

} // namespace
} // namespace kelo
