#include "core/hold/FanHold.h"

#include <gmock/gmock.h>

#include <limits>

#include "testing/LateQueue.h"
#include "tests/core/hold/HoldFixture.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

class FanHoldTest : public HoldFixture {};

TEST_F(FanHoldTest, CreatingAHoldDoesNotTouchTheHardware) {
    hold = makeHold(0.5);
    EXPECT_THAT(takeTrace(), IsEmpty());
    EXPECT_EQ(queue.liveTimers(), 0);
    EXPECT_FALSE(hold->isAddingAir());
    EXPECT_FALSE(hold->isYieldedToLid());
    EXPECT_EQ(hold->checkInterval, 2.0);
}

TEST_F(FanHoldTest, StartReadsTheChipAndTakesTheFansInOrder) {
    hold = makeHold(0.5);
    hold->start();
    EXPECT_EQ(takeTrace(), Trace({"lid?", "Tp09?"}) + readFans() + takeFansWithReads(0.5) +
                               Trace({"engaged(fraction: 0.5, neededUnlock: false)"}));
    EXPECT_EQ(queue.liveTimers(), 1);
}

TEST_F(FanHoldTest, TheObserverMayDropTheHoldInAnyEventOfAStart) {
    setChip(96); // so that start announces two events
    hold = makeHold(0.3);
    const auto seen = std::make_shared<int>(0);
    hold->onEvent = [this, seen](const FanHold::Event&) {
        hold.reset();
        ++*seen;
    };
    hold->start();
    EXPECT_EQ(*seen, 2);
    EXPECT_EQ(queue.liveTimers(), 0) << "an unowned hold is destroyed after its step";
}

TEST_F(FanHoldTest, IgnoresExceptionsFromTheObserver) {
    hold = makeHold(0.5);
    hold->onEvent = [](const FanHold::Event&) { throw std::bad_alloc(); };
    hold->start();
    EXPECT_TRUE(isManual(0));
    controller.setNumber("F0Md", 0);
    tick();
    EXPECT_TRUE(isManual(0));
    hold->stop();
    EXPECT_FALSE(isAnyManual());
}

TEST_F(FanHoldTest, TheObserverMayDropTheHoldWhileItStops) {
    startHold(0.5);
    hold->onEvent = [this](const FanHold::Event&) { hold.reset(); };
    hold->stop();
    EXPECT_EQ(hold, nullptr);
    EXPECT_EQ(takeEffects(), restoreFans());
}

TEST_F(FanHoldTest, TheObserverMayDropTheHoldInATick) {
    startHold(0.5);
    controller.setNumber("F0Md", 0);
    hold->onEvent = [this](const FanHold::Event&) { hold.reset(); };
    tick();
    EXPECT_EQ(hold, nullptr);
    EXPECT_EQ(queue.liveTimers(), 0);
}

#ifndef NDEBUG
TEST_F(FanHoldTest, AssertsThatTheObserverDoesNotStopTheHold) {
    hold = makeHold(0.5);
    hold->onEvent = [this](const FanHold::Event&) { hold->stop(); };
    EXPECT_DEATH(hold->start(), "isAnnouncing_");
}
#endif

TEST_F(FanHoldTest, StopHandsTheFansBackAndEndsTheTimer) {
    startHold(0.5);
    hold->stop();
    EXPECT_EQ(takeTrace(), restoreFans() + Trace({"released"}));
    EXPECT_EQ(queue.liveTimers(), 0);
    queue.runFor(60);
    hold->systemWillSleep();
    hold->systemDidWake();
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(FanHoldTest, StoppingTwiceReleasesTheFansOnce) {
    startHold(0.5);
    hold->stop();
    takeTrace();
    hold->stop();
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(FanHoldTest, StoppingAnUnstartedHoldDoesNothing) {
    hold = makeHold(0.5);
    hold->stop();
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(FanHoldTest, ClampsTheAskedFraction) {
    const std::pair<double, double> clampedTo[] = {
        {1.7, 1.0}, {-0.2, 0.0}, {0.0, 0.0}, {1.0, 1.0}, {std::numeric_limits<double>::infinity(), 1.0}};
    for (const auto& [asked, held] : clampedTo) {
        hold = makeHold(asked);
        hold->start();
        EXPECT_EQ(takeEffects(),
                  takeFans(held) + Trace({"engaged(fraction: " + shortestText(held) + ", neededUnlock: false)"}));
        hold->stop();
        takeTrace();
    }
}

TEST_F(FanHoldTest, DropsEventsWithoutAnObserver) {
    hold = makeHold(0.5);
    hold->onEvent = nullptr;
    hold->start();
    hold->stop();
    EXPECT_THAT(takeEvents(), IsEmpty());
    EXPECT_FALSE(isAnyManual());
}

TEST_F(FanHoldTest, ReportsTheUnlockIfAnyFanNeededIt) {
    // The start takes two exchanges for each read or write: a key-info request and the access itself.
    const int firstModeWrite = 2 * (1 + 5 + 5 + 1);                   // chip, both fans, mode
    const int secondModeWrite = firstModeWrite + 2 * (1 + 1 + 1 + 1); // range, target, mode
    hold = makeHold(0.5);
    controller.failExchange(firstModeWrite);
    hold->start();
    EXPECT_EQ(takeEffects(), Trace({"F0Md=1 refused", "Ftst=1", "F0Md=1", "F0Tg=3600.0", "F1Md=1", "F1Tg=3350.0",
                                    "engaged(fraction: 0.5, neededUnlock: true)"}));
    hold->stop();
    takeTrace();
    hold = makeHold(0.5);
    controller.failExchange(secondModeWrite);
    hold->start();
    EXPECT_EQ(takeEffects(), Trace({"F0Md=1", "F0Tg=3600.0", "F1Md=1 refused", "Ftst=1", "F1Md=1", "F1Tg=3350.0",
                                    "engaged(fraction: 0.5, neededUnlock: true)"}));
}

TEST_F(FanHoldTest, EngagesAndTicksWithoutAnyUsableFan) {
    controller.remove("F0Ac");
    controller.remove("F1Ac");
    hold = makeHold(0.5);
    hold->start();
    EXPECT_EQ(takeEffects(), Trace({"engaged(fraction: 0.5, neededUnlock: false)"}));
    queue.runFor(60);
    EXPECT_THAT(takeEffects(), IsEmpty());
    EXPECT_FALSE(hold->isYieldedToLid());
}

TEST_F(FanHoldTest, AFailedStartLeavesEarlierFansManualAndCreatesNoTimer) {
    controller.answer("F1Tg", SMCCommand::writeBytes, 0xFF);
    hold = makeHold(0.5);
    try {
        hold->start();
        FAIL() << "nothing was thrown";
    } catch (const FanError& error) {
        EXPECT_EQ(error, FanError::targetRejected(0xFF));
    }
    EXPECT_THAT(takeEffects(), ElementsAre("F0Md=1", "F0Tg=3600.0", "F1Md=1", "F1Tg=3350.0 refused"));
    EXPECT_TRUE(isManual(0));
    EXPECT_EQ(queue.liveTimers(), 0);
    EXPECT_TRUE(hold->isYieldedToLid());
}

TEST_F(FanHoldTest, ARefusalByTheFirstFanLeavesTheOthersUntouched) {
    fans->unlockTimeout = 0;
    controller.answer("F0Md", SMCCommand::writeBytes, 0x82);
    hold = makeHold(0.5);
    EXPECT_THROW(hold->start(), FanError);
    EXPECT_THAT(takeEffects(), ElementsAre("F0Md=1 refused", "Ftst=1"));
}

TEST_F(FanHoldTest, StoppingAfterAFailedStartHandsTheFansBack) {
    controller.answer("F1Tg", SMCCommand::writeBytes, 0xFF);
    hold = makeHold(0.5);
    EXPECT_THROW(hold->start(), FanError);
    takeTrace();
    hold->stop();
    EXPECT_EQ(takeTrace(), restoreFans() + Trace({"released"}));
    EXPECT_FALSE(isAnyManual());
    EXPECT_FALSE(hold->isYieldedToLid());
}

TEST_F(FanHoldTest, StartingWithoutRootThrowsNeedsRoot) {
    rights.root = false;
    hold = makeHold(0.5);
    try {
        hold->start();
        FAIL() << "nothing was thrown";
    } catch (const FanError& error) {
        EXPECT_EQ(error, FanError::needsRoot());
    }
    EXPECT_THAT(takeEffects(), IsEmpty());
}

TEST_F(FanHoldTest, AnUndisturbedTickReadsButDoesNotWrite) {
    startHold(0.5);
    tick();
    EXPECT_EQ(takeTrace(), Trace({"lid?"}) + readFans() + Trace({"Tp09?"}) + readFans());
}

TEST_F(FanHoldTest, TicksEveryTwoSeconds) {
    startHold(0.5);
    queue.runFor(1.999);
    EXPECT_THAT(takeTrace(), IsEmpty());
    queue.runFor(0.001);
    EXPECT_FALSE(takeTrace().empty());
    queue.runFor(1.999);
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(FanHoldTest, ReadsTheCheckIntervalOnStart) {
    hold = makeHold(0.5);
    hold->checkInterval = 0.5;
    hold->start();
    hold->checkInterval = 100;
    takeTrace();
    queue.runFor(0.5);
    EXPECT_FALSE(takeTrace().empty());
}

TEST_F(FanHoldTest, RetakesTheFansAfterInterferenceAndThenAnnouncesIt) {
    startHold(0.5);
    controller.setNumber("F1Md", 0);
    tick();
    EXPECT_EQ(takeTrace(), Trace({"lid?"}) + readFans() + Trace({"Tp09?"}) + readFans() + Trace({"Tp09?"}) +
                               readFans() + takeFansWithReads(0.5) + Trace({"reasserted"}));
    EXPECT_THAT(effectsOfTick(), IsEmpty());
}

TEST_F(FanHoldTest, IgnoresADriftOfUpTo25RPM) {
    startHold(0.5);
    for (const double drift : {25.0, -25.0}) {
        controller.setNumber("F0Tg", 3600 + drift);
        EXPECT_THAT(effectsOfTick(), IsEmpty()) << drift;
    }
    for (const double drift : {25.01, -25.01}) {
        controller.setNumber("F0Tg", 3600 + drift);
        EXPECT_EQ(effectsOfTick(), takeFans(0.5)) << drift;
    }
    controller.setNumber("F1Tg", 1200);
    EXPECT_EQ(effectsOfTick(), takeFans(0.5)) << "the drift of another fan";
}

TEST_F(FanHoldTest, AnnouncesAFailedRepair) {
    startHold(0.5);
    fans->unlockTimeout = 0;
    controller.setNumber("F0Md", 0);
    controller.answer("F0Md", SMCCommand::writeBytes, 0x82);
    EXPECT_EQ(effectsOfTick(), Trace({"F0Md=1 refused", "Ftst=1", "reasserted"}));
    controller.clearFaults();
    EXPECT_EQ(effectsOfTick(), takeFans(0.5) + Trace({"reasserted"}));
    EXPECT_THAT(effectsOfTick(), IsEmpty());
}

TEST_F(FanHoldTest, RetriesAFailedDriftRepairSilently) {
    startHold(0.5);
    controller.setNumber("F0Tg", 1200);
    controller.answer("F0Tg", SMCCommand::writeBytes, 0x82);
    EXPECT_EQ(effectsOfTick(), Trace({"F0Md=1", "F0Tg=3600.0 refused"}));
    controller.clearFaults();
    EXPECT_EQ(effectsOfTick(), takeFans(0.5));
}

TEST_F(FanHoldTest, ABlockedTickDoesNotShiftTheSchedule) {
    startHold(0.5);
    controller.setUnlockRule({true, 1e9});
    controller.setNumber("F0Md", 0);
    tick(); // retries for four seconds
    EXPECT_NEAR(now, 6.0, 0.11);
    takeTrace();
    controller.setUnlockRule({});
    queue.runFor(8.0 - now);
    EXPECT_EQ(takeEvents(), Trace({"reasserted"}));
}

TEST_F(FanHoldTest, ADroppedHoldNeitherCallsBackNorHandsTheFansBack) {
    startHold(0.5);
    hold.reset();
    queue.runFor(60);
    EXPECT_THAT(takeTrace(), IsEmpty());
    EXPECT_TRUE(isAnyManual());
}

TEST_F(FanHoldTest, ALateTimerAfterTheEndOfTheHoldDoesNothing) {
    LateQueue late(now);
    hold = std::make_shared<FanHold>(fans, 0.5, false, late, clamshell);
    hold->start();
    hold->stop();
    takeTrace();
    late.fireLastTimer();
    EXPECT_THAT(takeTrace(), IsEmpty());
    hold.reset();
    late.fireLastTimer();
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(FanHoldTest, AHoldDroppedDuringATickCompletesTheTick) {
    startHold(0.5, true);
    clamshell.state = true;
    hold->onEvent = [this](const FanHold::Event& event) {
        note(event.description());
        hold.reset();
    };
    EXPECT_EQ(effectsOfTick(), restoreFans() + Trace({"yielded"}));
    EXPECT_THAT(effectsOfTick(), IsEmpty());
}

} // namespace
} // namespace kelo
