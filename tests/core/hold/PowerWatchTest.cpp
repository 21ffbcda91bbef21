#include "core/hold/PowerWatch.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/support/ScriptedPower.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PowerWatchTest : public ::testing::Test {
protected:
    PowerWatchTest() {
        power.onAllow = [this](std::intptr_t id) { trace.push_back("allow " + std::to_string(id)); };
    }

    std::shared_ptr<PowerWatch> makeWatch() {
        return std::make_shared<PowerWatch>(
            power, [this] { trace.push_back("willSleep"); }, [this] { trace.push_back("didWake"); });
    }

    ScriptedPower power;
    std::vector<std::string> trace;
    std::shared_ptr<PowerWatch> watch = makeWatch();
};

TEST_F(PowerWatchTest, RegistersNothingUntilItIsStarted) {
    EXPECT_EQ(power.registered(), 0U);
    watch->start();
    EXPECT_EQ(power.registered(), 1U);
    watch->stop();
    EXPECT_EQ(power.registered(), 0U);
}

TEST_F(PowerWatchTest, AWillSleepMessageRunsWillSleepOnceAndIsAcknowledgedAfterIt) {
    watch->start();
    power.send(PowerMessage::systemWillSleep, 7);
    EXPECT_THAT(trace, ElementsAre("willSleep", "allow 7"));
}

TEST_F(PowerWatchTest, SleepIsNotHeldUpByACallbackThatThrows) {
    watch = std::make_shared<PowerWatch>(
        power, [] { throw std::runtime_error("broken"); }, [] {});
    watch->start();
    EXPECT_THROW(power.send(PowerMessage::systemWillSleep, 7), std::runtime_error);
    EXPECT_THAT(trace, ElementsAre("allow 7"));
}

TEST_F(PowerWatchTest, AWakeCallbackThatThrowsAnswersNothingAndLeavesTheWatchAtWork) {
    watch = std::make_shared<PowerWatch>(
        power, [this] { trace.push_back("willSleep"); }, [] { throw std::runtime_error("broken"); });
    watch->start();
    EXPECT_THROW(power.send(PowerMessage::systemHasPoweredOn, 7), std::runtime_error);
    EXPECT_THAT(trace, IsEmpty());
    power.send(PowerMessage::systemWillSleep, 8);
    EXPECT_THAT(trace, ElementsAre("willSleep", "allow 8"));
}

TEST_F(PowerWatchTest, ACanSleepMessageIsAcknowledgedAndRunsNothing) {
    watch->start();
    power.send(PowerMessage::canSystemSleep, 8);
    EXPECT_THAT(trace, ElementsAre("allow 8"));
}

TEST_F(PowerWatchTest, AHasPoweredOnMessageRunsDidWakeAndIsNotAcknowledged) {
    watch->start();
    power.send(PowerMessage::systemHasPoweredOn, 9);
    EXPECT_THAT(trace, ElementsAre("didWake"));
}

TEST_F(PowerWatchTest, TheNotificationIDIsPassedBackUnchangedWhateverItIs) {
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

TEST_F(PowerWatchTest, AMessageAfterTheWatchStoppedIsNotAnswered) {
    watch->start();
    watch->stop();
    power.send(PowerMessage::canSystemSleep, 1);
    EXPECT_THAT(trace, IsEmpty());
}

TEST_F(PowerWatchTest, AFailedRegistrationIsSilentAndCanBeStopped) {
    power.isPresent = false;
    watch->start();
    watch->stop();
    EXPECT_EQ(power.registrations(), 0);
}

TEST_F(PowerWatchTest, AWatchThatIsStoppedByItsOwnCallbackDoesNotAnswerForAnEndedRegistration) {
    std::shared_ptr<PowerWatch> stopping;
    stopping = std::make_shared<PowerWatch>(
        power,
        [&] {
            trace.push_back("willSleep");
            stopping->stop();
        },
        [] {});
    stopping->start();
    power.send(PowerMessage::systemWillSleep, 11);
    EXPECT_THAT(trace, ElementsAre("willSleep"));
}

TEST_F(PowerWatchTest, AWatchThatIsDroppedByItsOwnCallbackLivesToItsEnd) {
    std::shared_ptr<PowerWatch> dropped;
    dropped = std::make_shared<PowerWatch>(
        power, [&] { dropped.reset(); }, [] {});
    dropped->start();
    power.send(PowerMessage::systemWillSleep, 12);
    EXPECT_THAT(trace, ElementsAre("allow 12")); // still registered until the callback returned
    EXPECT_EQ(power.registered(), 0U);
}

/// Delivers to whoever registered last, registered still or not.
class LatePower : public ScriptedPower {
public:
    [[nodiscard]] std::unique_ptr<PowerRegistration> registerForSystemPower(PowerHandler onMessage) override {
        deliver = onMessage;
        return ScriptedPower::registerForSystemPower(std::move(onMessage));
    }
    PowerHandler deliver;
};

TEST_F(PowerWatchTest, AMessageThatWasUnderWayWhenTheWatchWasDroppedIsLeftAlone) {
    LatePower late;
    watch = std::make_shared<PowerWatch>(
        late, [this] { trace.push_back("willSleep"); }, [this] { trace.push_back("didWake"); });
    watch->start();
    watch->stop();
    watch.reset();
    late.deliver(PowerMessage::systemWillSleep, 1);
    EXPECT_THAT(trace, IsEmpty());
    EXPECT_THAT(late.allowed(), IsEmpty());
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
