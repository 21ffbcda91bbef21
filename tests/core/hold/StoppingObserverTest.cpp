// A hold whose observer ends it: the step that the event belongs to goes no further.

#include <gmock/gmock.h>

#include <string>

#include "tests/core/hold/HoldFixture.h"

namespace kelo {
namespace {

using ::testing::IsEmpty;

class StoppingObserver : public HoldFixture {
protected:
    /// The hold is to be stopped from within its first `event` from now on, given as the beginning of its text.
    void stopAt(const std::string& event) {
        hold->onEvent = [this, event](const FanHold::Event& announced) {
            note(announced.description());
            if (announced.description().starts_with(event))
                hold->stop();
        };
    }
    Trace stopped() { return restoreFans() + Trace({"released"}); }

    /// Nothing is left of the hold: no fan, no timer, no watch.
    void expectEnded() {
        EXPECT_FALSE(isAnyManual());
        EXPECT_EQ(queue.liveTimers(), 0);
        EXPECT_EQ(power.registered(), 0U);
        EXPECT_FALSE(hold->isYieldedToLid());
        takeTrace();
        queue.runFor(60);
        power.send(willSleep, 1);
        power.send(hasPoweredOn);
        EXPECT_THAT(takeTrace(), IsEmpty());
    }
};

TEST_F(StoppingObserver, StartThatAddsAirTakesNoFan) {
    setChip(96);
    hold = makeHold(0.3);
    stopAt("addingAir");
    hold->start();
    EXPECT_EQ(takeTrace(), Trace({"lid?", "Tp09?", "addingAir(fraction: 0.5)"}) + stopped());
    expectEnded();
}

TEST_F(StoppingObserver, StartThatHasEngagedLeavesNoTimerAndNoWatch) {
    hold = makeHold(0.5);
    stopAt("engaged");
    hold->start();
    EXPECT_EQ(takeEffects(), takeFans(0.5) + Trace({"engaged(fraction: 0.5, neededUnlock: false)"}) + stopped());
    EXPECT_EQ(power.registrations(), 0);
    expectEnded();
}

TEST_F(StoppingObserver, StartThatYieldsLeavesNoTimerAndNoWatch) {
    clamshell.state = true;
    hold = makeHold(0.5, true);
    stopAt("yielded");
    hold->start();
    EXPECT_EQ(takeTrace(), Trace({"lid?", "yielded"}) + stopped());
    EXPECT_EQ(power.registrations(), 0);
    expectEnded();
}

TEST_F(StoppingObserver, ATickThatAddsAirLooksAtNoFanAgain) {
    startHold(0.3);
    controller.setNumber("F0Md", 0); // would be repaired
    setChip(200);
    stopAt("addingAir");
    tick();
    EXPECT_EQ(takeTrace(), Trace({"lid?"}) + readFans() + Trace({"Tp09?", "addingAir(fraction: 1.0)"}) + stopped());
    expectEnded();
}

TEST_F(StoppingObserver, ARepairThatAddsAirTakesNoFanAndIsNotAnnounced) {
    startHold(0.3);
    controller.setNumber("F0Md", 0);
    setChip(120); // the mean is 82.5 with one such reading and 95 with two
    stopAt("addingAir");
    tick();
    EXPECT_EQ(takeTrace(), Trace({"lid?"}) + readFans() + Trace({"Tp09?"}) + readFans() +
                               Trace({"Tp09?", "addingAir(fraction: 0.4342857142857143)"}) + stopped());
    expectEnded();
}

TEST_F(StoppingObserver, ATickThatIsBackToAskedTakesNoFan) {
    setChip(96);
    startHold(0.49);
    setChip(-1000);
    stopAt("backToAsked");
    EXPECT_EQ(effectsOfTick(), Trace({"backToAsked"}) + stopped());
    expectEnded();
}

TEST_F(StoppingObserver, ARepairIsTheLastOne) {
    startHold(0.5);
    controller.setNumber("F1Md", 0);
    stopAt("reasserted");
    EXPECT_EQ(effectsOfTick(), takeFans(0.5) + Trace({"reasserted"}) + stopped());
    expectEnded();
}

TEST_F(StoppingObserver, AYieldIsTheLastOne) {
    startHold(0.5, true);
    clamshell.state = true;
    stopAt("yielded");
    EXPECT_EQ(effectsOfTick(), restoreFans() + Trace({"yielded"}) + stopped());
    expectEnded();
}

TEST_F(StoppingObserver, AResumptionThatAddsAirTakesNoFanAndIsNotAnnounced) {
    clamshell.state = true;
    startHold(0.3, true);
    clamshell.state = false;
    setChip(96);
    stopAt("addingAir");
    EXPECT_EQ(effectsOfTick(), Trace({"addingAir(fraction: 0.5)"}) + stopped());
    expectEnded();
}

TEST_F(StoppingObserver, AResumptionIsFollowedByNoRepair) {
    clamshell.state = true;
    startHold(0.5, true);
    clamshell.state = false;
    hold->onEvent = [this](const FanHold::Event& event) {
        note(event.description());
        if (event == FanHold::Event::resumed()) {
            controller.setNumber("F0Tg", 1200); // would be repaired
            hold->stop();
        }
    };
    EXPECT_EQ(effectsOfTick(), takeFans(0.5) + Trace({"resumed"}) + stopped());
    expectEnded();
}

TEST_F(StoppingObserver, SleepHandsBackTwiceAndTheHoldStaysStopped) {
    startHold(0.5);
    stopAt("sleeping");
    power.send(willSleep, 7);
    EXPECT_EQ(takeEffects(), restoreFans() + Trace({"sleeping"}) + stopped());
    expectEnded();
}

TEST_F(StoppingObserver, AWakeTakesNoFan) {
    startHold(0.5);
    power.send(willSleep, 7);
    stopAt("woke");
    takeTrace();
    power.send(hasPoweredOn);
    EXPECT_EQ(takeTrace(), Trace({"woke"}) + stopped());
    expectEnded();
}

TEST_F(StoppingObserver, AWakeThatAddsAirTakesNoFanAndIsNotAnnouncedAsAResumption) {
    startHold(0.3);
    power.send(willSleep, 7);
    setChip(200);
    stopAt("addingAir");
    takeTrace();
    power.send(hasPoweredOn);
    EXPECT_EQ(takeTrace(), Trace({"woke", "lid?", "Tp09?", "addingAir(fraction: 1.0)"}) + stopped());
    expectEnded();
}

TEST_F(StoppingObserver, StoppingAHoldThatIsBeingReleasedDoesNothingMore) {
    startHold(0.5);
    stopAt("released");
    hold->stop();
    EXPECT_EQ(takeTrace(), stopped());
    expectEnded();
}

} // namespace
} // namespace kelo
