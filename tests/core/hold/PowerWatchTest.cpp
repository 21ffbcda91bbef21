#include "core/hold/PowerWatch.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "testing/ScriptedPower.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PowerWatchTest : public ::testing::Test {
protected:
    PowerWatchTest() {
        power.onAllow = [this](std::intptr_t id) { trace.push_back("allow " + std::to_string(id)); };
    }

    ScriptedPower power;
    std::vector<std::string> trace;
    std::unique_ptr<PowerWatch> watch = std::make_unique<PowerWatch>(
        power, [this] { trace.push_back("willSleep"); }, [this] { trace.push_back("didWake"); });
};

TEST_F(PowerWatchTest, RegistersNothingUntilItIsStarted) {
    EXPECT_EQ(power.registered(), 0U);
    watch->start();
    EXPECT_EQ(power.registered(), 1U);
    watch->stop();
    EXPECT_EQ(power.registered(), 0U);
}

TEST_F(PowerWatchTest, RunsTheCallbacksAndAcknowledgesTheTwoSleepMessages) {
    watch->start();
    power.send(PowerMessage::canSystemSleep, 7);
    power.send(PowerMessage::systemWillSleep, 8);
    power.send(PowerMessage::systemHasPoweredOn, 9);
    EXPECT_THAT(trace, ElementsAre("allow 7", "willSleep", "allow 8", "didWake"));
}

TEST_F(PowerWatchTest, AcknowledgesSleepEvenIfTheCallbackThrows) {
    watch = std::make_unique<PowerWatch>(
        power, [] { throw std::runtime_error("broken"); }, [] {});
    watch->start();
    EXPECT_THROW(power.send(PowerMessage::systemWillSleep, 7), std::runtime_error);
    EXPECT_THAT(trace, ElementsAre("allow 7"));
}

TEST_F(PowerWatchTest, KeepsWorkingAfterTheWakeCallbackThrows) {
    watch = std::make_unique<PowerWatch>(
        power, [this] { trace.push_back("willSleep"); }, [] { throw std::runtime_error("broken"); });
    watch->start();
    EXPECT_THROW(power.send(PowerMessage::systemHasPoweredOn, 7), std::runtime_error);
    EXPECT_THAT(trace, IsEmpty());
    power.send(PowerMessage::systemWillSleep, 8);
    EXPECT_THAT(trace, ElementsAre("willSleep", "allow 8"));
}

TEST_F(PowerWatchTest, PassesAnyNotificationIDBackUnchanged) {
    watch->start();
    for (const std::intptr_t id : {std::intptr_t{0}, std::intptr_t{-1}, INTPTR_MAX, INTPTR_MIN})
        power.send(PowerMessage::canSystemSleep, id);
    EXPECT_THAT(power.allowed(), ElementsAre(0, -1, INTPTR_MAX, INTPTR_MIN));
}

TEST_F(PowerWatchTest, StoppingTwiceOrWithoutAStartDoesNothing) {
    watch->stop();
    watch->start();
    watch->stop();
    watch->stop();
    EXPECT_EQ(power.registrations(), 1);
    power.send(PowerMessage::systemWillSleep, 1);
    EXPECT_THAT(trace, IsEmpty());
}

TEST_F(PowerWatchTest, IgnoresMessagesAfterStopping) {
    watch->start();
    watch->stop();
    power.send(PowerMessage::canSystemSleep, 1);
    EXPECT_THAT(trace, IsEmpty());
}

TEST_F(PowerWatchTest, CanBeStoppedAfterAFailedRegistration) {
    power.isPresent = false;
    watch->start();
    watch->stop();
    EXPECT_EQ(power.registrations(), 0);
}

TEST_F(PowerWatchTest, StartRetriesTheRegistrationUntilItSucceeds) {
    power.isPresent = false;
    watch->start();
    power.isPresent = true;
    power.isThrowing = true;
    EXPECT_THROW(watch->start(), std::runtime_error);
    power.isThrowing = false;
    watch->start();
    watch->start();
    EXPECT_EQ(power.registrations(), 1);
}

TEST_F(PowerWatchTest, ADroppedWatchNeverCallsBack) {
    watch->start();
    watch.reset();
    power.send(PowerMessage::systemWillSleep, 13);
    power.send(PowerMessage::systemHasPoweredOn, 14);
    EXPECT_THAT(trace, IsEmpty());
}

} // namespace
} // namespace kelo
