#include "helper/HelperService.h"

#include <gmock/gmock.h>

#include <limits>

#include "testing/ServiceFixture.h"

namespace kelo {
namespace {

using ::testing::IsEmpty;

class HelperServiceHoldTest : public ServiceFixture {};

TEST_F(HelperServiceHoldTest, StartsAHoldOnTheMainQueue) {
    makeService();
    takeTrace();
    ReplyProbe<std::optional<std::string>> probe;
    probe.onAnswer([this] { note("reply"); });
    service->hold(0.5, false, probe.reply());
    EXPECT_THAT(takeTrace(), IsEmpty());
    queue.runReady();
    EXPECT_EQ(probe.value(), std::nullopt);
    EXPECT_EQ(takeEffects(),
              takeFans(0.5) + Trace({"[NOTICE] service: hold: engaged(fraction: 0.5, neededUnlock: false)", "reply"}));
}

TEST_F(HelperServiceHoldTest, LogsEachEvent) {
    makeService();
    setChip(96);
    hold(0.3, true);
    controller.setNumber("F0Md", 0);
    queue.runFor(2);
    clamshell.state = true;
    queue.runFor(2);
    clamshell.state = false;
    queue.runFor(2);
    power.send(willSleep, 7);
    power.send(hasPoweredOn);
    setChip(-1000);
    queue.runFor(60);
    handBack();
    EXPECT_EQ(takeLogs(), Trace({"[NOTICE] service: hold: addingAir(fraction: 0.5)",
                                 "[NOTICE] service: hold: engaged(fraction: 0.3, neededUnlock: false)",
                                 "[NOTICE] service: hold: reasserted", "[NOTICE] service: hold: yielded",
                                 "[NOTICE] service: hold: resumed", "[NOTICE] service: hold: sleeping",
                                 "[NOTICE] service: hold: woke", "[NOTICE] service: hold: resumed",
                                 "[NOTICE] service: hold: backToAsked", "[NOTICE] service: hold: released"}));
}

TEST_F(HelperServiceHoldTest, TheHoldClampsTheFraction) {
    makeService();
    EXPECT_EQ(hold(1.7), std::nullopt);
    EXPECT_EQ(controller.number("F0Tg"), 6000);
    EXPECT_EQ(hold(-3), std::nullopt);
    EXPECT_EQ(controller.number("F0Tg"), 1200);
    EXPECT_EQ(hold(std::numeric_limits<double>::infinity()), std::nullopt);
    EXPECT_EQ(controller.number("F0Tg"), 6000);
}

TEST_F(HelperServiceHoldTest, ANewHoldStopsTheRunningOneFirst) {
    makeService();
    hold(0.5);
    takeTrace();
    EXPECT_EQ(hold(0.25), std::nullopt);
    EXPECT_EQ(takeEffects(), restoreFans() + Trace({"[NOTICE] service: hold: released"}) + takeFans(0.25) +
                                 Trace({"[NOTICE] service: hold: engaged(fraction: 0.25, neededUnlock: false)"}));
    queue.runFor(60);
    EXPECT_THAT(takeEffects(), IsEmpty()); // the old hold no longer ticks
    EXPECT_EQ(queue.liveTimers(), 1);
}

TEST_F(HelperServiceHoldTest, ANewHoldYieldsWhileTheLidIsClosed) {
    makeService();
    hold(0.5, true);
    clamshell.state = true;
    queue.runFor(2);
    takeTrace();
    EXPECT_EQ(hold(0.25, true), std::nullopt);
    EXPECT_EQ(takeEffects(),
              restoreFans() + Trace({"[NOTICE] service: hold: released", "[NOTICE] service: hold: yielded"}));
    clamshell.state = false;
    queue.runFor(2);
    EXPECT_EQ(takeEffects(), takeFans(0.25) + Trace({"[NOTICE] service: hold: resumed"}));
    EXPECT_EQ(queue.liveTimers(), 1);
}

TEST_F(HelperServiceHoldTest, ANewHoldMayIgnoreTheClosedLid) {
    makeService();
    hold(0.5, true);
    clamshell.state = true;
    queue.runFor(2);
    takeTrace();
    EXPECT_EQ(hold(0.25, false), std::nullopt);
    EXPECT_EQ(takeEffects(), restoreFans() + Trace({"[NOTICE] service: hold: released"}) + takeFans(0.25) +
                                 Trace({"[NOTICE] service: hold: engaged(fraction: 0.25, neededUnlock: false)"}));
    EXPECT_FALSE(snapshot().lidHasFan);
}

TEST_F(HelperServiceHoldTest, RegistersForPowerMessagesOnce) {
    makeService();
    EXPECT_EQ(power.registered(), 1U);
    hold(0.5);
    hold(0.25);
    handBack();
    EXPECT_EQ(power.registered(), 1U);
    EXPECT_EQ(power.registrations(), 1);
    service.reset();
    EXPECT_EQ(power.registered(), 0U);
}

TEST_F(HelperServiceHoldTest, DoesNotRegisterForPowerMessagesWithoutAFan) {
    controller.setNumber("FNum", 0);
    makeService();
    EXPECT_EQ(power.registrations(), 0);
}

TEST_F(HelperServiceHoldTest, AcknowledgesSleepWithoutAHold) {
    makeService();
    takeTrace();
    power.send(canSleep, 6);
    power.send(willSleep, 7);
    power.send(hasPoweredOn);
    EXPECT_EQ(takeTrace(), Trace({"allow 6", "allow 7"}));
}

TEST_F(HelperServiceHoldTest, AHoldRequestedDuringSleepTakesTheFansOnWaking) {
    makeService();
    power.send(willSleep, 7);
    takeTrace();
    EXPECT_EQ(hold(0.5), std::nullopt);
    queue.runFor(60);
    EXPECT_EQ(takeEffects(), Trace({"[NOTICE] service: hold: yielded"}));
    EXPECT_FALSE(snapshot().lidHasFan);
    power.send(hasPoweredOn);
    EXPECT_EQ(takeEffects(),
              Trace({"[NOTICE] service: hold: woke"}) + takeFans(0.5) + Trace({"[NOTICE] service: hold: resumed"}));
}

TEST_F(HelperServiceHoldTest, AHoldThatReplacesASleepingOneWaitsForWaking) {
    makeService();
    hold(0.5);
    power.send(willSleep, 7);
    takeTrace();
    EXPECT_EQ(hold(0.25), std::nullopt);
    EXPECT_EQ(takeEffects(),
              restoreFans() + Trace({"[NOTICE] service: hold: released", "[NOTICE] service: hold: yielded"}));
    power.send(willSleep, 8);
    EXPECT_EQ(takeEffects(), restoreFans() + Trace({"[NOTICE] service: hold: sleeping", "allow 8"}));
    power.send(hasPoweredOn);
    EXPECT_EQ(takeEffects(),
              Trace({"[NOTICE] service: hold: woke"}) + takeFans(0.25) + Trace({"[NOTICE] service: hold: resumed"}));
}

TEST_F(HelperServiceHoldTest, AHoldRequestedAfterWakingTakesTheFansAtOnce) {
    makeService();
    power.send(willSleep, 7);
    power.send(hasPoweredOn);
    EXPECT_EQ(hold(0.5), std::nullopt);
    EXPECT_TRUE(isManual(0));
}

TEST_F(HelperServiceHoldTest, SleepAnnouncedWhileTakingTheFansHandsThemBack) {
    makeService();
    controller.setUnlockRule({true, 1});
    clock.meanwhile.emplace_back([this] {
        if (power.registered() > 0) // the system notifies only registered processes
            queue.post([this] { power.send(willSleep, 7); });
    });
    takeTrace();
    EXPECT_EQ(hold(0.5), std::nullopt);
    queue.runReady();
    EXPECT_EQ(takeEvents(), Trace({"[NOTICE] service: hold: engaged(fraction: 0.5, neededUnlock: true)",
                                   "[NOTICE] service: hold: sleeping", "allow 7"}));
    EXPECT_FALSE(isAnyManual());
}

TEST_F(HelperServiceHoldTest, RetriesAFailedPowerRegistrationOnEachHold) {
    power.isPresent = false;
    makeService();
    EXPECT_EQ(hold(0.5), std::nullopt);
    EXPECT_EQ(power.registered(), 0U);
    power.isPresent = true;
    EXPECT_EQ(hold(0.5), std::nullopt);
    EXPECT_EQ(power.registered(), 1U);
    power.send(willSleep, 7);
    EXPECT_FALSE(isAnyManual());
}

TEST_F(HelperServiceHoldTest, RepliesWithTheErrorOfAFailedHoldAndHandsTheFansBack) {
    makeService();
    const struct {
        const char* key;
        const char* text;
    } failures[] = {
        {"F1Tg", "The fan speed wasn't accepted (code 0x84)."},
        {"F1Md", "This Mac refused to hand over the fan (code 0x84). It usually means the system is managing cooling "
                 "itself right now."},
    };
    for (const auto& [key, text] : failures) {
        controller.clearFaults();
        controller.answer(key, SMCCommand::writeBytes, 0x84);
        takeTrace();
        EXPECT_EQ(hold(0.5), text);
        EXPECT_THAT(takeLogs(), IsEmpty());
        EXPECT_FALSE(isAnyManual());
        EXPECT_EQ(controller.number("Ftst"), 0);
        EXPECT_EQ(queue.liveTimers(), 0);
    }
    controller.clearFaults();
    rights.root = false;
    EXPECT_EQ(hold(0.5), "Changing fan speed needs administrator rights. Run this with sudo.");
}

TEST_F(HelperServiceHoldTest, RefusesAHoldWhenTheSystemHasRunOutOfAResource) {
    power.isThrowing = true;
    makeService();
    EXPECT_EQ(hold(0.5), "out of ports");
    EXPECT_FALSE(isAnyManual());
    power.isThrowing = false;
    EXPECT_EQ(hold(0.5), std::nullopt);
    EXPECT_TRUE(isAnyManual());
}

TEST_F(HelperServiceHoldTest, AFailedHoldStillEndsTheRunningHold) {
    makeService();
    setChip(96);
    hold(0.3, true);
    EXPECT_TRUE(snapshot().addingAir);
    controller.answer("F0Tg", SMCCommand::writeBytes, 0x84);
    takeTrace();
    EXPECT_NE(hold(0.3, true), std::nullopt);
    EXPECT_EQ(takeLogs(),
              Trace({"[NOTICE] service: hold: released", "[NOTICE] service: hold: addingAir(fraction: 0.5)"}));
    EXPECT_FALSE(isAnyManual());
    EXPECT_FALSE(snapshot().addingAir);
    EXPECT_FALSE(snapshot().lidHasFan);
    queue.runFor(60);
    EXPECT_THAT(takeEffects(), IsEmpty());
}

TEST_F(HelperServiceHoldTest, AHoldWithTheLidClosedYields) {
    makeService();
    clamshell.state = true;
    takeTrace();
    EXPECT_EQ(hold(0.5, true), std::nullopt);
    EXPECT_EQ(takeEffects(), Trace({"[NOTICE] service: hold: yielded"}));
    EXPECT_TRUE(snapshot().lidHasFan);
}

} // namespace
} // namespace kelo
