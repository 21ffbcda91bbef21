#include <gmock/gmock.h>

#include "testing/InterposedExchange.h"
#include "tests/core/hold/HoldFixture.h"

namespace kelo {
namespace {

using ::testing::IsEmpty;

class StateDuringAnEvent : public HoldFixture {
protected:
    /// Makes a hold that adds each event to the trace, together with the hold's state during the event.
    void makeHoldThatNotesItsState(double fraction, bool handsBackOnLidClose = false) {
        hold = makeHold(fraction, handsBackOnLidClose);
        hold->onEvent = [this](const FanHold::Event& event) {
            note(event.description() + (hold->isAddingAir() ? ", adding air" : "") +
                 (hold->isYieldedToLid() ? ", yielded to lid" : ""));
        };
    }
    Trace eventsOfTick() {
        tick();
        return takeEvents();
    }
};

TEST_F(StateDuringAnEvent, IsAddingAirFromTheFirstEventUntilTheLast) {
    makeHoldThatNotesItsState(0.49);
    hold->start();
    takeEvents();
    setChip(45 + (96 - 45) * 2); // the mean of this and the previous reading is 96
    EXPECT_EQ(eventsOfTick(), Trace({"addingAir(fraction: 0.5), adding air"}));
    setChip(-1000);
    queue.runFor(60);
    EXPECT_EQ(takeEvents(), Trace({"backToAsked"}));
}

TEST_F(StateDuringAnEvent, IsYieldedUntilTheResumedEvent) {
    makeHoldThatNotesItsState(0.5, true);
    hold->start();
    EXPECT_EQ(takeEvents(), Trace({"engaged(fraction: 0.5, neededUnlock: false)"}));
    clamshell.state = true;
    EXPECT_EQ(eventsOfTick(), Trace({"yielded, yielded to lid"}));
    clamshell.state = false;
    EXPECT_EQ(eventsOfTick(), Trace({"resumed"}));
}

TEST_F(StateDuringAnEvent, IsYieldedFromTheStartIfTheLidIsClosed) {
    clamshell.state = true;
    makeHoldThatNotesItsState(0.5, true);
    hold->start();
    EXPECT_EQ(takeEvents(), Trace({"yielded, yielded to lid"}));
}

TEST_F(StateDuringAnEvent, IsYieldedFromWakingUntilTheResumedEvent) {
    makeHoldThatNotesItsState(0.5);
    hold->start();
    takeEvents();
    power.send(willSleep, 7);
    EXPECT_EQ(takeEvents(), Trace({"sleeping", "allow 7"}));
    power.send(hasPoweredOn);
    EXPECT_EQ(takeEvents(), Trace({"woke, yielded to lid", "resumed"}));
}

TEST_F(StateDuringAnEvent, IsNotYieldedOnceReleased) {
    clamshell.state = true;
    makeHoldThatNotesItsState(0.5, true);
    hold->start();
    takeEvents();
    hold->stop();
    EXPECT_EQ(takeEvents(), Trace({"released"}));
}

class HoldOrder : public HoldFixture {
protected:
    InterposedExchange interposed{exchange};
};

TEST_F(HoldOrder, NextTickReassertsAFanTakenBetweenTheTwoReadings) {
    startHold(0.5);
    interposed.afterNext("read Tp09", [this] { controller.setNumber("F1Md", 0); });
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    EXPECT_EQ(effectsOfTick(), takeFans(0.5) + Trace({"reasserted"}));
}

TEST_F(HoldOrder, SilentlyRepairsAFanTakenAndRetargetedBetweenTheTwoReadings) {
    startHold(0.5);
    interposed.afterNext("read Tp09", [this] {
        controller.setNumber("F1Md", 0);
        controller.setNumber("F1Tg", 1200);
    });
    EXPECT_EQ(effectsOfTick(), takeFans(0.5));
    EXPECT_THAT(effectsOfTick(), IsEmpty());
}

TEST_F(HoldOrder, ReassertsAFanReturnedBetweenTheTwoReadings) {
    startHold(0.5);
    controller.setNumber("F1Md", 0);
    interposed.afterNext("read Tp09", [this] { controller.setNumber("F1Md", 1); });
    EXPECT_EQ(effectsOfTick(), takeFans(0.5) + Trace({"reasserted"}));
}

TEST_F(HoldOrder, DetectsATargetChangedBetweenTheTwoReadings) {
    startHold(0.5);
    interposed.afterNext("read Tp09", [this] { controller.setNumber("F1Tg", 1200); });
    EXPECT_EQ(effectsOfTick(), takeFans(0.5));
}

TEST_F(HoldOrder, HoldsTheSecondFanWhileTheFirstIsMissing) {
    controller.remove("F0Ac");
    const Trace takeSecondFan = {"F1Md=1", "F1Tg=3350.0"};
    hold = makeHold(0.5);
    hold->start();
    EXPECT_EQ(takeEffects(), takeSecondFan + Trace({"engaged(fraction: 0.5, neededUnlock: false)"}));
    controller.setNumber("F1Tg", 1200);
    EXPECT_EQ(effectsOfTick(), takeSecondFan);
    controller.setNumber("F1Md", 0);
    EXPECT_EQ(effectsOfTick(), takeSecondFan + Trace({"reasserted"}));
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    hold->stop();
    EXPECT_EQ(takeEffects(), restoreFans() + Trace({"released"}));
}

} // namespace
} // namespace kelo
