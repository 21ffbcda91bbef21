#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "testing/FanFixture.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class FanControllerCreation : public FanFixture {
protected:
    FanError creationError() {
        try {
            FanController fans(exchange, clock, rights);
        } catch (const FanError& error) {
            return error;
        }
        ADD_FAILURE() << "the controller was created";
        return FanError::needsRoot();
    }
};

TEST_F(FanControllerCreation, ThrowsSmcUnavailableWithoutTheService) {
    exchange.isPresent = false;
    EXPECT_EQ(creationError(), FanError::smcUnavailable());
    EXPECT_THAT(controller.texts(), IsEmpty());
}

TEST_F(FanControllerCreation, ThrowsTheNoFansErrorForAFanCountOfZero) {
    controller.setNumber("FNum", 0);
    EXPECT_EQ(creationError(), FanError::noFans());
    EXPECT_EQ(exchange.openConnections(), 0);
}

TEST_F(FanControllerCreation, ThrowsTheNoFansErrorForAnUnreadableFanCount) {
    for (const auto command : {SMCCommand::readKeyInfo, SMCCommand::readBytes}) {
        controller.clearFaults();
        controller.answer("FNum", command, 0x84);
        EXPECT_EQ(creationError(), FanError::noFans());
        EXPECT_EQ(exchange.openConnections(), 0);
    }
}

TEST_F(FanControllerCreation, ReadsOnlyTheFanCount) {
    const FanController fans(exchange, clock, rights);
    EXPECT_EQ(fans.fanCount(), 2);
    EXPECT_EQ(fans.unlockTimeout, 4.0);
    EXPECT_THAT(controller.texts(), ElementsAre("info FNum", "read FNum"));
}

TEST_F(FanControllerCreation, UsesTheGivenExchange) {
    smc_set_exchange(nullptr);
    const FanController fans(exchange, clock, rights);
    EXPECT_EQ(fans.fanCount(), 2);
}

TEST_F(FanControllerCreation, NeedsNoRights) {
    rights.root = false;
    const FanController fans(exchange, clock, rights);
    EXPECT_FALSE(fans.isRoot());
    EXPECT_EQ(fans.fans().size(), 2U);
}

TEST_F(FanControllerCreation, DestructionClosesTheConnection) {
    { const FanController fans(exchange, clock, rights); }
    EXPECT_EQ(exchange.openConnections(), 0);
    EXPECT_EQ(exchange.opens(), 1);
}

TEST_F(FanControllerCreation, HandsASingleFanBack) {
    controller.setNumber("FNum", 1);
    FanController fans(exchange, clock, rights);
    controller.clearLog();
    fans.restoreAuto();
    EXPECT_THAT(writes(), ElementsAre("write F0Md 00", "write Ftst 00"));
}

TEST_F(FanControllerCreation, ReadsAndHandsBackUpTo255Fans) {
    controller.setNumber("FNum", 255);
    FanController fans(exchange, clock, rights);
    EXPECT_EQ(fans.fanCount(), 255);
    controller.clearLog();
    const auto usable = fans.fans();
    ASSERT_EQ(usable.size(), 2U);
    EXPECT_EQ(usable[1].index, 1);
    EXPECT_EQ(controller.texts().back(), "info F254 -> 0x84"); // the key has no room for the rest of the name
    controller.clearLog();
    fans.restoreAuto();
    EXPECT_THAT(writes(), ElementsAre("write F0Md 00", "write F1Md 00", "write Ftst 00"));
    EXPECT_EQ(controller.texts(SMCCommand::readKeyInfo).size(), 256U);
}

class FanReadings : public FanFixture {
protected:
    FanController fans{exchange, clock, rights};
};

TEST_F(FanReadings, ReadsEachFanInOrderFromItsFiveKeys) {
    controller.setNumber("F0Ac", 2000.5);
    controller.setNumber("F0Tg", 2100);
    controller.setNumber("F1Md", 1);
    controller.clearLog();
    EXPECT_THAT(fans.fans(),
                ElementsAre(Fan{0, 1200, 6000, 2000.5, 2100, false}, Fan{1, 1200, 5500, 1200, 1200, true}));
    EXPECT_THAT(reads(), ElementsAre("read F0Ac", "read F0Mn", "read F0Mx", "read F0Md", "read F0Tg", //
                                     "read F1Ac", "read F1Mn", "read F1Mx", "read F1Md", "read F1Tg"));
}

TEST_F(FanReadings, OmitsAFanWithoutSpeedOrRange) {
    for (const auto* key : {"F0Ac", "F0Mn", "F0Mx"}) {
        controller.clearFaults();
        controller.answer(key, std::nullopt, 0x84);
        const auto usable = fans.fans();
        ASSERT_EQ(usable.size(), 1U) << key;
        EXPECT_EQ(usable[0].index, 1);
    }
}

TEST_F(FanReadings, StopsReadingAFanAfterAFailedRead) {
    controller.answer("F0Mn", std::nullopt, 0x84);
    controller.remove("F1Ac");
    controller.clearLog();
    EXPECT_THAT(fans.fans(), IsEmpty());
    EXPECT_THAT(controller.texts(), ElementsAre("info F0Ac", "read F0Ac", "info F0Mn -> 0x84", "info F1Ac -> 0x84"));
}

TEST_F(FanReadings, OmitsAFanWithAnEmptyInvertedOrNaNRange) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::pair<double, double> ranges[] = {{2000, 2000}, {2001, 2000}, {nan, 2000}, {2000, nan}, {nan, nan}};
    for (const auto& [min, max] : ranges) {
        controller.setNumber("F0Mn", min);
        controller.setNumber("F0Mx", max);
        const auto usable = fans.fans();
        ASSERT_EQ(usable.size(), 1U) << min << "..." << max;
        EXPECT_EQ(usable[0].index, 1);
    }
}

TEST_F(FanReadings, ReportsTheSpeedInPlaceOfAnUnreadableTarget) {
    controller.setNumber("F0Ac", 3456);
    controller.remove("F0Tg");
    EXPECT_EQ(fans.fans().at(0).targetRPM, 3456);
}

TEST_F(FanReadings, TreatsAnUnreadableModeAsAutomatic) {
    controller.setNumber("F0Md", 1);
    controller.answer("F0Md", SMCCommand::readBytes, 0x85);
    EXPECT_FALSE(fans.fans().at(0).isManual);
}

TEST_F(FanReadings, TreatsAnyNonZeroModeByteAsManual) {
    for (const int mode : {0, 1, 2, 0x80, 0xFF}) {
        controller.setNumber("F0Md", mode);
        EXPECT_EQ(fans.fans().at(0).isManual, mode != 0) << mode;
    }
}

TEST_F(FanReadings, ReturnsAnEmptyListIfNoFanIsUsable) {
    controller.remove("F0Ac");
    controller.remove("F1Ac");
    EXPECT_THAT(fans.fans(), IsEmpty());
}

TEST_F(FanReadings, ReadsWholeNumberSpeedsFromAnOlderDesktop) {
    Profile::named("desktop")->defineKeys(controller);
    controller.setNumber("F0Ac", 1234.75);
    EXPECT_EQ(fans.fans().at(0).currentRPM, 1234.0);
}

TEST_F(FanReadings, ReadsTheChipTemperatureFromTheFirstReadableSensor) {
    controller.defineNumber("Tp0T", smc_type::flt, 71.5);
    controller.setNumber("Tp09", 55.25);
    EXPECT_EQ(fans.chipTemperature(), 55.25);
    controller.remove("Tp09");
    EXPECT_EQ(fans.chipTemperature(), 71.5);
    controller.remove("Tp0T");
    EXPECT_EQ(fans.chipTemperature(), std::nullopt);
}

TEST_F(FanReadings, DoesNotReadTheSecondChipSensorIfTheFirstIsReadable) {
    controller.clearLog();
    (void)fans.chipTemperature();
    EXPECT_THAT(reads(), ElementsAre("read Tp09"));
}

TEST_F(FanReadings, AcceptsAnyChipTemperature) {
    controller.setNumber("Tp09", -400);
    EXPECT_EQ(fans.chipTemperature(), -400);
    controller.setNumber("Tp09", std::numeric_limits<double>::infinity());
    EXPECT_EQ(fans.chipTemperature(), std::numeric_limits<double>::infinity());
    controller.setNumber("Tp09", std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(std::isnan(fans.chipTemperature().value()));
}

TEST_F(FanReadings, ReportsTheReadableEnclosureSensors) {
    EXPECT_THAT(fans.enclosureTemperatures(), ElementsAre(Pair("TW0P", 36), Pair("Ts0S", 31), Pair("Ts1P", 30)));
    controller.remove("Ts1P");
    EXPECT_THAT(fans.enclosureTemperatures(), ElementsAre(Pair("TW0P", 36), Pair("Ts0S", 31)));
    controller.remove("Ts0S");
    controller.remove("TW0P");
    EXPECT_THAT(fans.enclosureTemperatures(), IsEmpty());
}

TEST_F(FanReadings, ReadsTheEnclosureSensorsInAFixedOrder) {
    controller.clearLog();
    (void)fans.enclosureTemperatures();
    EXPECT_THAT(reads(), ElementsAre("read Ts0S", "read Ts1P", "read TW0P"));
}

TEST_F(FanReadings, QueriesMissingSensorsInAFixedOrder) {
    for (const auto* key : {"Tp09", "Tp0T", "Ts0S", "Ts1P", "TW0P"})
        controller.remove(key);
    controller.clearLog();
    (void)fans.chipTemperature();
    EXPECT_THAT(controller.texts(), ElementsAre("info Tp09 -> 0x84", "info Tp0T -> 0x84"));
    controller.clearLog();
    (void)fans.enclosureTemperatures();
    EXPECT_THAT(controller.texts(), ElementsAre("info Ts0S -> 0x84", "info Ts1P -> 0x84", "info TW0P -> 0x84"));
}

TEST_F(FanReadings, WarmthChangesAt60And80Degrees) {
    const std::pair<double, Warmth> warmthAt[] = {
        {-10, Warmth::cool},   {59.9, Warmth::cool}, {60.0, Warmth::warm},
        {79.99, Warmth::warm}, {80.0, Warmth::hot},  {std::numeric_limits<double>::quiet_NaN(), Warmth::hot}};
    for (const auto& [celsius, warmth] : warmthAt) {
        controller.setNumber("Tp09", celsius);
        EXPECT_EQ(fans.warmth(), warmth) << celsius;
    }
}

TEST_F(FanReadings, WarmthFallsBackToTheSecondSensorAndThenToCool) {
    controller.remove("Tp09");
    controller.defineNumber("Tp0T", smc_type::flt, 85);
    EXPECT_EQ(fans.warmth(), Warmth::hot);
    controller.remove("Tp0T");
    EXPECT_EQ(fans.warmth(), Warmth::cool);
}

TEST(WarmthText, ParsesOnlyCoolWarmAndHot) {
    for (const auto warmth : {Warmth::cool, Warmth::warm, Warmth::hot})
        EXPECT_EQ(warmthFromText(warmthText(warmth)), warmth);
    EXPECT_EQ(warmthText(Warmth::cool), "cool");
    EXPECT_EQ(warmthText(Warmth::warm), "warm");
    EXPECT_EQ(warmthText(Warmth::hot), "hot");
    for (const auto* text : {"", "Cool", "cool ", "tepid", "HOT"})
        EXPECT_EQ(warmthFromText(text), std::nullopt) << text;
}

} // namespace
} // namespace kelo
