#include <gmock/gmock.h>

#include "testing/FailingMemory.h"
#include "testing/FullQueue.h"
#include "testing/InterposedExchange.h"
#include "tests/core/hold/HoldFixture.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LidAndSleep : public HoldFixture {};

TEST_F(LidAndSleep, StartingWithTheLidClosedYieldsUntilItOpens) {
    clamshell.state = true;
    hold = makeHold(0.5, true);
    hold->start();
    EXPECT_EQ(takeTrace(), Trace({"lid?", "yielded"}));
    EXPECT_TRUE(hold->isYieldedToLid());
    EXPECT_EQ(queue.liveTimers(), 1);
    tick();
    EXPECT_EQ(takeTrace(), Trace({"lid?"}));
    clamshell.state = false;
    EXPECT_EQ(effectsOfTick(), takeFans(0.5) + Trace({"resumed"}));
    EXPECT_FALSE(hold->isYieldedToLid());
}

TEST_F(LidAndSleep, YieldsInTheTickAfterTheLidCloses) {
    startHold(0.5, true);
    clamshell.state = true;
    EXPECT_EQ(effectsOfTick(), restoreFans() + Trace({"yielded"}));
    EXPECT_TRUE(hold->isYieldedToLid());
    EXPECT_FALSE(isAnyManual());
    EXPECT_THAT(effectsOfTick(), IsEmpty());
}

TEST_F(LidAndSleep, IgnoresAClosedLidUnlessAskedToYield) {
    clamshell.state = true;
    hold = makeHold(0.5, false);
    hold->start();
    EXPECT_EQ(takeEvents(), Trace({"engaged(fraction: 0.5, neededUnlock: false)"}));
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    EXPECT_FALSE(hold->isYieldedToLid());
}

TEST_F(LidAndSleep, RetriesAFailedResumptionSilently) {
    clamshell.state = true;
    startHold(0.5, true);
    clamshell.state = false;
    fans->unlockTimeout = 0;
    controller.answer("F1Md", SMCCommand::writeBytes, 0x82);
    EXPECT_THAT(effectsOfTick(), ElementsAre("F0Md=1", "F0Tg=3600.0", "F1Md=1 refused", "Ftst=1"));
    EXPECT_TRUE(hold->isYieldedToLid());
    controller.clearFaults();
    EXPECT_EQ(effectsOfTick(), takeFans(0.5) + Trace({"resumed"}));
}

TEST_F(LidAndSleep, StoppingUndoesAFailedResumptionAfterTheLidCloses) {
    // The hold is not engaged, so it does not hand the first fan back before it is stopped.
    clamshell.state = true;
    startHold(0.5, true);
    clamshell.state = false;
    fans->unlockTimeout = 0;
    controller.answer("F1Md", SMCCommand::writeBytes, 0x82);
    tick();
    clamshell.state = true;
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    controller.clearFaults();
    hold->stop();
    EXPECT_FALSE(isAnyManual());
}

TEST_F(LidAndSleep, StoppingWhileYieldedHandsTheFansBack) {
    startHold(0.5, true);
    clamshell.state = true;
    tick();
    takeTrace();
    hold->stop();
    EXPECT_EQ(takeEffects(), restoreFans() + Trace({"released"}));
    EXPECT_FALSE(hold->isYieldedToLid());
}

TEST_F(LidAndSleep, HandsTheFansBackBeforeAcknowledgingSleep) {
    startHold(0.5);
    power.send(willSleep, 7);
    EXPECT_EQ(takeTrace(), restoreFans() + Trace({"sleeping", "allow 7"}));
    EXPECT_FALSE(isAnyManual());
    EXPECT_FALSE(hold->isYieldedToLid());
}

TEST_F(LidAndSleep, AllowsSleepWithoutHandingTheFansBack) {
    startHold(0.5);
    power.send(canSleep, 6);
    EXPECT_EQ(takeTrace(), Trace({"allow 6"}));
    EXPECT_TRUE(isManual(0));
}

TEST_F(LidAndSleep, ATickWhileAsleepOnlyQueriesTheLid) {
    startHold(0.5);
    power.send(willSleep, 7);
    takeTrace();
    tick();
    EXPECT_EQ(takeTrace(), Trace({"lid?"}));
}

TEST_F(LidAndSleep, TakesTheFansAgainOnWaking) {
    startHold(0.5);
    power.send(willSleep, 7);
    takeTrace();
    power.send(hasPoweredOn);
    EXPECT_EQ(takeEffects(), Trace({"woke"}) + takeFans(0.5) + Trace({"resumed"}));
    EXPECT_THAT(effectsOfTick(), IsEmpty());
}

TEST_F(LidAndSleep, StaysYieldedAfterSleepingWithTheLidClosed) {
    startHold(0.5, true);
    clamshell.state = true;
    tick();
    takeTrace();
    power.send(willSleep, 7);
    EXPECT_EQ(takeTrace(), restoreFans() + Trace({"sleeping", "allow 7"}));
    EXPECT_FALSE(hold->isYieldedToLid());
    power.send(hasPoweredOn);
    EXPECT_EQ(takeTrace(), Trace({"woke", "lid?"}));
    EXPECT_TRUE(hold->isYieldedToLid());
}

TEST_F(LidAndSleep, RetriesAnEngagementThatFailedOnWaking) {
    startHold(0.5);
    power.send(willSleep, 7);
    fans->unlockTimeout = 0;
    controller.answer("F0Md", SMCCommand::writeBytes, 0x82);
    takeTrace();
    power.send(hasPoweredOn);
    EXPECT_EQ(takeEffects(), Trace({"woke", "F0Md=1 refused", "Ftst=1"}));
    EXPECT_TRUE(hold->isYieldedToLid());
    controller.clearFaults();
    EXPECT_EQ(effectsOfTick(), takeFans(0.5) + Trace({"resumed"}));
}

TEST_F(LidAndSleep, AWakeWithoutSleepLeavesTheFansAlone) {
    startHold(0.5);
    power.send(hasPoweredOn);
    EXPECT_EQ(takeTrace(), Trace({"woke", "lid?"}));
}

TEST_F(LidAndSleep, HandsTheFansBackTwiceIfSleepIsAnnouncedTwice) {
    startHold(0.5);
    power.send(willSleep, 7);
    power.send(willSleep, 8);
    EXPECT_EQ(takeEffects(),
              restoreFans() + Trace({"sleeping", "allow 7"}) + restoreFans() + Trace({"sleeping", "allow 8"}));
}

TEST_F(LidAndSleep, HandlesSleepAfterAStartThatYielded) {
    clamshell.state = true;
    startHold(0.5, true);
    power.send(willSleep, 7);
    EXPECT_EQ(takeTrace(), restoreFans() + Trace({"sleeping", "allow 7"}));
}

TEST_F(LidAndSleep, StoppingWhileAsleepHandsTheFansBack) {
    startHold(0.5);
    power.send(willSleep, 7);
    takeTrace();
    hold->stop();
    EXPECT_EQ(takeEffects(), restoreFans() + Trace({"released"}));
    power.send(hasPoweredOn);
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(LidAndSleep, StartingDuringSleepYieldsUntilWaking) {
    hold = makeHold(0.5);
    hold->start(true);
    EXPECT_EQ(takeTrace(), Trace({"lid?", "yielded"}));
    EXPECT_FALSE(hold->isYieldedToLid());
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    power.send(hasPoweredOn);
    EXPECT_EQ(takeEffects(), Trace({"woke"}) + takeFans(0.5) + Trace({"resumed"}));
}

TEST_F(LidAndSleep, StartingDuringSleepWithTheLidClosedYieldsUntilAwakeWithTheLidOpen) {
    clamshell.state = true;
    hold = makeHold(0.5, true);
    hold->start(true);
    power.send(hasPoweredOn);
    EXPECT_EQ(takeEvents(), Trace({"yielded", "woke"}));
    EXPECT_TRUE(hold->isYieldedToLid());
    clamshell.state = false;
    EXPECT_EQ(effectsOfTick(), takeFans(0.5) + Trace({"resumed"}));
}

TEST_F(LidAndSleep, AHoldStartedDuringSleepAllocatesNothingAfterWaking) {
    InterposedExchange interposed(exchange);
    clamshell.onQuery = [] {};
    FullQueue full(now);
    const auto asleep = std::make_shared<FanHold>(fans, 0.5, false, full, clamshell);
    asleep->start(true);
    FailingMemory::beginCounting();
    full.post([&] { asleep->systemDidWake(); });
    full.runFor(20 * asleep->checkInterval);
    EXPECT_EQ(FailingMemory::endCounting(), 0);
    EXPECT_TRUE(isManual(0));
}

} // namespace
} // namespace kelo
