#include <gmock/gmock.h>

#include "testing/InterposedExchange.h"
#include "tests/core/hold/HoldFixture.h"

namespace kelo {
namespace {

using ::testing::IsEmpty;

// What a hold does first and what it does next, where that matters to others.

// --- what the hold tells of itself within an event

class WithinAnEvent : public HoldFixture {
protected:
    /// Each event is noted with what the hold says of itself while it is announced.
    void makeObservedHold(double fraction, bool handsBackOnLidClose = false) {
        hold = makeHold(fraction, handsBackOnLidClose);
        hold->onEvent = [this](const FanHold::Event& event) {
            note(event.description() + (hold->isAddingAir() ? ", adding air" : "") +
                 (hold->isYieldedToLid() ? ", standing aside" : ""));
        };
    }
    Trace eventsOfTick() {
        tick();
        return takeEvents();
    }
};

TEST_F(WithinAnEvent, TheHoldAddsAirFromTheEventOfItsBeginningOnAndNoLongerFromThatOfItsEndOn) {
    makeObservedHold(0.49);
    hold->start();
    takeEvents();
    setChip(45 + (96 - 45) * 2); // the mean with the one before is 96
    EXPECT_EQ(eventsOfTick(), Trace({"addingAir(fraction: 0.5), adding air"}));
    setChip(-1000);
    queue.runFor(60);
    EXPECT_EQ(takeEvents(), Trace({"backToAsked"}));
}

TEST_F(WithinAnEvent, TheHoldStandsAsideFromYieldingUntilItResumes) {
    makeObservedHold(0.5, true);
    hold->start();
    EXPECT_EQ(takeEvents(), Trace({"engaged(fraction: 0.5, neededUnlock: false)"}));
    clamshell.state = true;
    EXPECT_EQ(eventsOfTick(), Trace({"yielded, standing aside"}));
    clamshell.state = false;
    EXPECT_EQ(eventsOfTick(), Trace({"resumed"}));
}

TEST_F(WithinAnEvent, AHoldThatStartsWithTheLidClosedStandsAsideFromTheStart) {
    clamshell.state = true;
    makeObservedHold(0.5, true);
    hold->start();
    EXPECT_EQ(takeEvents(), Trace({"yielded, standing aside"}));
}

TEST_F(WithinAnEvent, AHoldThatSleepsDoesNotStandAsideAndOneThatHasWokenDoesUntilItResumes) {
    makeObservedHold(0.5);
    hold->start();
    takeEvents();
    power.send(willSleep, 7);
    EXPECT_EQ(takeEvents(), Trace({"sleeping", "allow 7"}));
    power.send(hasPoweredOn);
    EXPECT_EQ(takeEvents(), Trace({"woke, standing aside", "resumed"}));
}

TEST_F(WithinAnEvent, AHoldThatIsReleasedStandsAsideNoLonger) {
    clamshell.state = true;
    makeObservedHold(0.5, true);
    hold->start();
    takeEvents();
    hold->stop();
    EXPECT_EQ(takeEvents(), Trace({"released"}));
}

class OrderOfAHold : public HoldFixture {
protected:
    InterposedExchange interposed{exchange};
};

// --- the two looks of a tick

TEST_F(OrderOfAHold, AFanThatIsTakenBetweenTheTwoLooksOfATickIsMissedByItAndReassertedByTheNext) {
    startHold(0.5);
    interposed.afterNext("read Tp09", [this] { controller.setNumber("F1Md", 0); });
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    EXPECT_EQ(effectsOfTick(), takeFans(0.5) + Trace({"reasserted"}));
}

TEST_F(OrderOfAHold, AFanThatIsTakenAndMovedBetweenTheTwoLooksIsRepairedAsADriftWithoutAnEvent) {
    startHold(0.5);
    interposed.afterNext("read Tp09", [this] {
        controller.setNumber("F1Md", 0);
        controller.setNumber("F1Tg", 1200);
    });
    EXPECT_EQ(effectsOfTick(), takeFans(0.5));
    EXPECT_THAT(effectsOfTick(), IsEmpty());
}

TEST_F(OrderOfAHold, AFanThatComesBackBetweenTheTwoLooksOfATickIsReassertedAllTheSame) {
    startHold(0.5);
    controller.setNumber("F1Md", 0);
    interposed.afterNext("read Tp09", [this] { controller.setNumber("F1Md", 1); });
    EXPECT_EQ(effectsOfTick(), takeFans(0.5) + Trace({"reasserted"}));
}

TEST_F(OrderOfAHold, ATargetThatIsMovedBetweenTheTwoLooksIsSeenInTheSameTick) {
    startHold(0.5);
    interposed.afterNext("read Tp09", [this] { controller.setNumber("F1Tg", 1200); });
    EXPECT_EQ(effectsOfTick(), takeFans(0.5));
}

// --- a fan that is missing

TEST_F(OrderOfAHold, WithItsFirstFanMissingItHoldsRepairsAndReassertsTheSecondByItsOwnNumber) {
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
