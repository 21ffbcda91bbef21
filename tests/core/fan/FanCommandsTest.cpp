#include <gmock/gmock.h>

#include <climits>
#include <cmath>
#include <limits>
#include <utility>

#include "testing/FanFixture.h"
#include "testing/InterposedExchange.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

template <typename Action>
FanError errorOf(Action action) {
    try {
        action();
    } catch (const FanError& error) {
        return error;
    }
    ADD_FAILURE() << "nothing was thrown";
    return FanError::smcUnavailable();
}

/// Tests the writes of the fan controller: manual mode, targets, and the hand-back.
class FanCommands : public FanFixture {
protected:
    FanController fans{exchange, clock, rights};

    FanCommands() { controller.clearLog(); }
};

TEST_F(FanCommands, DoesNotTouchTheUnlockSwitchIfManualModeIsGrantedAtOnce) {
    EXPECT_FALSE(fans.engageManual(1));
    EXPECT_THAT(writes(), ElementsAre("write F1Md 01"));
    EXPECT_EQ(clock.sleeps, 0);
}

TEST_F(FanCommands, RefusesManualModeWithoutRoot) {
    rights.root = false;
    EXPECT_EQ(errorOf([&] { fans.engageManual(0); }), FanError::needsRoot());
    EXPECT_THAT(controller.texts(), IsEmpty());
}

TEST_F(FanCommands, ReportsThatManualModeNeededTheUnlockSwitch) {
    controller.setUnlockRule({true, 0});
    EXPECT_TRUE(fans.engageManual(0));
    EXPECT_THAT(writes(), ElementsAre("write F0Md 01 -> 0x82", "write Ftst 01", "write F0Md 01"));
    EXPECT_EQ(clock.sleeps, 0);
}

TEST_F(FanCommands, RetriesManualModeEvery100Milliseconds) {
    controller.setUnlockRule({true, 0.95});
    EXPECT_TRUE(fans.engageManual(0));
    EXPECT_EQ(clock.sleeps, 10);
    EXPECT_NEAR(now, 1.0, 1e-9);
    EXPECT_EQ(controller.number("F0Md"), 1);
}

TEST_F(FanCommands, ThrowsModeRejectedAfterFourSecondsOfRefusals) {
    controller.setUnlockRule({true, 1e9});
    EXPECT_EQ(errorOf([&] { fans.engageManual(0); }), FanError::modeRejected(0x82));
    EXPECT_GE(now, 4.0);
    EXPECT_LT(now, 4.11);
    EXPECT_EQ(controller.number("Ftst"), 1); // stays on until the fans are handed back
}

TEST_F(FanCommands, ReportsTheCodeOfTheLastRetry) {
    controller.answer("F0Md", SMCCommand::writeBytes, 0x11);
    EXPECT_EQ(errorOf([&] { fans.engageManual(0); }), FanError::modeRejected(0x11));
    controller.clearFaults();
    controller.remove("F0Md");
    EXPECT_EQ(errorOf([&] { fans.engageManual(0); }), FanError::modeRejected(-2));
}

TEST_F(FanCommands, ReportsCodeZeroWhenThereIsNoTimeForARetry) {
    controller.setUnlockRule({true, 0});
    for (const double timeout : {0.0, -1.0}) {
        fans.unlockTimeout = timeout;
        controller.clearLog();
        EXPECT_EQ(errorOf([&] { fans.engageManual(0); }), FanError::modeRejected(0));
        EXPECT_THAT(writes(), ElementsAre("write F0Md 01 -> 0x82", "write Ftst 01"));
        fans.restoreAuto();
    }
}

TEST_F(FanCommands, RespectsTheUnlockTimeout) {
    controller.setUnlockRule({true, 1e9});
    fans.unlockTimeout = 0.25;
    EXPECT_EQ(errorOf([&] { fans.engageManual(0); }), FanError::modeRejected(0x82));
    EXPECT_EQ(clock.sleeps, 3);
}

TEST_F(FanCommands, StopsRetryingAtTheDeadline) {
    controller.setUnlockRule({true, 0.1}); // a retry at the deadline would succeed
    fans.unlockTimeout = 0.1;
    EXPECT_EQ(errorOf([&] { fans.engageManual(0); }), FanError::modeRejected(0x82));
    EXPECT_EQ(now, 0.1);
    EXPECT_THAT(writes(), ElementsAre("write F0Md 01 -> 0x82", "write Ftst 01", "write F0Md 01 -> 0x82"));
}

TEST_F(FanCommands, ASlowUnlockSwitchDoesNotShortenTheRetries) {
    controller.setUnlockRule({true, 1e9});
    InterposedExchange slow(exchange);
    slow.afterNext("write Ftst 01", [this] { now += 10; });
    EXPECT_EQ(errorOf([&] { fans.engageManual(0); }), FanError::modeRejected(0x82));
    EXPECT_GE(clock.sleeps, 40); // every 100 ms for four seconds
    EXPECT_NEAR(now, 14.0, 0.11);
}

TEST_F(FanCommands, RetriesEvenIfTheUnlockSwitchRefuses) {
    controller.answer("Ftst", std::nullopt, 0x84);
    controller.answer("F0Md", SMCCommand::writeBytes, 0x82);
    EXPECT_EQ(errorOf([&] { fans.engageManual(0); }), FanError::modeRejected(0x82));
    EXPECT_GE(clock.sleeps, 40); // every 100 ms for four seconds
    EXPECT_EQ(writes().size(), 1U + static_cast<std::size_t>(clock.sleeps));
}

TEST_F(FanCommands, UnlocksTheLockedLaptopInAboutASecond) {
    Profile::named("locked")->defineKeys(controller);
    EXPECT_TRUE(fans.engageManual(0));
    EXPECT_NEAR(now, 1.0, 0.11);
    EXPECT_FALSE(fans.engageManual(1)); // the switch is on already
}

TEST_F(FanCommands, ClampsATargetToTheFansRange) {
    const std::pair<double, double> targets[] = {{500, 1200},  {1200, 1200},   {3000.5, 3000.5},
                                                 {6000, 6000}, {6000.5, 6000}, {9000, 6000}};
    for (const auto& [asked, set] : targets) {
        EXPECT_EQ(fans.setTarget(0, asked), set);
        EXPECT_EQ(controller.number("F0Tg"), set);
    }
}

TEST_F(FanCommands, ClampsInfiniteTargetsAndPassesNaNThrough) {
    EXPECT_EQ(fans.setTarget(0, std::numeric_limits<double>::infinity()), 6000);
    EXPECT_EQ(fans.setTarget(0, -std::numeric_limits<double>::infinity()), 1200);
    EXPECT_TRUE(std::isnan(fans.setTarget(0, std::numeric_limits<double>::quiet_NaN())));
    EXPECT_TRUE(std::isnan(controller.number("F0Tg")));
}

TEST_F(FanCommands, ReturnsTheTargetAsADoubleAndWritesItAsAFloat) {
    const double asked = 3000.1;
    EXPECT_EQ(fans.setTarget(0, asked), asked);
    EXPECT_EQ(controller.number("F0Tg"), static_cast<double>(static_cast<float>(asked)));
}

TEST_F(FanCommands, SettingATargetDoesNotChangeTheMode) {
    fans.setTarget(1, 2000);
    EXPECT_THAT(controller.texts(),
                ElementsAre("info F1Mn", "read F1Mn", "info F1Mx", "read F1Mx", "info F1Tg", "write F1Tg 0000fa44"));
}

TEST_F(FanCommands, RefusesATargetWithoutRoot) {
    rights.root = false;
    EXPECT_EQ(errorOf([&] { fans.setTarget(0, 2000); }), FanError::needsRoot());
    EXPECT_THAT(controller.texts(), IsEmpty());
}

TEST_F(FanCommands, ThrowsTheNoFansErrorForATargetWithoutAValidRange) {
    for (const double max : {1200.0, 1199.5, -6000.0}) { // empty and inverted ranges
        controller.setNumber("F0Mx", max);
        EXPECT_EQ(errorOf([&] { fans.setTarget(0, 2000); }), FanError::noFans()) << max;
    }
    controller.setNumber("F0Mx", std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(errorOf([&] { fans.setTarget(0, 2000); }), FanError::noFans());
    controller.remove("F0Mx");
    EXPECT_EQ(errorOf([&] { fans.setTarget(0, 2000); }), FanError::noFans());
    controller.setNumber("F1Mn", 1200);
    controller.remove("F1Mn");
    EXPECT_EQ(errorOf([&] { fans.setTarget(1, 2000); }), FanError::noFans());
    EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(FanCommands, ThrowsTargetRejectedWithTheStatus) {
    controller.answer("F0Tg", SMCCommand::writeBytes, 0xFF);
    EXPECT_EQ(errorOf([&] { fans.setTarget(0, 2000); }), FanError::targetRejected(255));
    controller.clearFaults();
    controller.remove("F0Tg");
    EXPECT_EQ(errorOf([&] { fans.setTarget(0, 2000); }), FanError::targetRejected(-2));
    controller.defineNumber("F0Tg", smc_type::flt, 0);
    controller.failExchange(6);
    EXPECT_EQ(errorOf([&] { fans.setTarget(0, 2000); }), FanError::targetRejected(-3));
}

TEST_F(FanCommands, TruncatesTheKeyOfAnyFanIndexToFourCharacters) {
    const std::pair<int, const char*> keys[] = {
        {10, "F10M"}, {100'000, "F100"}, {-10'000, "F-10"}, {INT_MAX, "F214"}, {INT_MIN, "F-21"}};
    for (const auto& [index, key] : keys) {
        controller.defineNumber(key, smc_type::ui8, 0);
        EXPECT_FALSE(fans.engageManual(index));
        EXPECT_EQ(writes().back(), "write " + std::string(key) + " 01");
    }
}

TEST_F(FanCommands, HandBackWritesAllModesAndThenTheUnlockSwitch) {
    fans.restoreAuto();
    EXPECT_THAT(writes(), ElementsAre("write F0Md 00", "write F1Md 00", "write Ftst 00"));
}

TEST_F(FanCommands, HandBackTriesEveryFanEvenIfOthersRefuse) {
    controller.answer("F0Md", SMCCommand::writeBytes, 0x82);
    controller.setNumber("F1Md", 1);
    controller.setNumber("Ftst", 1);
    fans.restoreAuto();
    EXPECT_THAT(writes(), ElementsAre("write F0Md 00 -> 0x82", "write F1Md 00", "write Ftst 00"));
    EXPECT_EQ(controller.number("F1Md"), 0);
    EXPECT_EQ(controller.number("Ftst"), 0);
}

TEST_F(FanCommands, HandBackWithoutRightsSurvivesRefusedWrites) {
    rights.root = false;
    exchange.isRoot = false;
    fans.restoreAuto();
    EXPECT_THAT(writes(), ElementsAre("write F0Md 00 -> failed", "write F1Md 00 -> failed", "write Ftst 00 -> failed"));
}

TEST_F(FanCommands, HandBackSurvivesADisconnectedController) {
    for (int i = 1; i <= 6; ++i)
        controller.failExchange(i);
    fans.restoreAuto();
    EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(FanCommands, HandBackReleasesEngagedFans) {
    Profile::named("locked")->defineKeys(controller);
    fans.engageManual(0);
    fans.engageManual(1);
    fans.restoreAuto();
    for (const auto* key : {"F0Md", "F1Md", "Ftst"})
        EXPECT_EQ(controller.number(key), 0) << key;
}

} // namespace
} // namespace kelo
