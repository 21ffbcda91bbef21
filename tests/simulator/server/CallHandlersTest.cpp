#include "simulator/server/CallHandlers.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "tests/support/VirtualQueue.h"

namespace kelo {
namespace {

using namespace hardware_calls;
using ::testing::SizeIs;

class CallHandlersTest : public ::testing::Test {
protected:
    CallHandlers::Answer perform(const AnyCall& call) { return handlers.perform(caller, call); }
    bool isDone(const AnyCall& call) { return std::holds_alternative<Done>(perform(call).value()); }
    std::string refusal(const AnyCall& call) { return std::get<Refused>(perform(call).value()).sentence; }
    MacState state() { return std::get<MacState>(perform(Show{}).value()); }

    double now = 0;
    VirtualQueue queue{now};
    CallHandlers handlers{queue, [this] { return now; }, *Profile::named("laptop"), 1.0};
    std::vector<AnyAnswer> sent;
    Caller caller{true, [this](const AnyAnswer& answer) { sent.push_back(answer); }};
};

TEST_F(CallHandlersTest, ExchangesAreToBeAnsweredAtOnceUnlessAnswersAreSlow) {
    EXPECT_EQ(handlers.exchangeDelay(), 0);
    EXPECT_TRUE(isDone(AnswerSlowly{0.5}));
    EXPECT_EQ(handlers.exchangeDelay(), 0.5);
    EXPECT_TRUE(isDone(ClearFaults{}));
    EXPECT_EQ(handlers.exchangeDelay(), 0);
}

TEST_F(CallHandlersTest, SleepIsAnnouncedAndAnsweredWhenItHasBeenAllowed) {
    EXPECT_TRUE(isDone(RegisterForPower{}));
    EXPECT_FALSE(perform(Sleep{.now = true}).has_value());
    ASSERT_THAT(sent, SizeIs(1));
    const auto& announcement = std::get<PowerAnnouncement>(sent[0]);
    EXPECT_EQ(announcement.event, PowerEvent::willSleep);
    EXPECT_EQ(refusal(Sleep{}), "The Mac is asleep, or about to be.");
    queue.runFor(2);
    EXPECT_FALSE(perform(AllowPowerChange{announcement.notificationID}).has_value());
    ASSERT_THAT(sent, SizeIs(2));
    const auto& report = std::get<SleepReport>(sent[1]);
    EXPECT_EQ(report.seconds, 2);
    EXPECT_EQ(report.acknowledged, 1);
    EXPECT_EQ(report.missing, 0);
    EXPECT_THAT(report.fans, SizeIs(2));
    EXPECT_TRUE(state().asleep);
}

TEST_F(CallHandlersTest, EachEventIsAnnouncedUnderItsOwnName) {
    EXPECT_TRUE(isDone(RegisterForPower{}));
    perform(Sleep{});
    queue.runFor(60); // nobody answers
    EXPECT_TRUE(isDone(Wake{}));
    std::vector<PowerEvent> events;
    for (const auto& answer : sent)
        if (const auto* announcement = std::get_if<PowerAnnouncement>(&answer))
            events.push_back(announcement->event);
    EXPECT_THAT(events, ::testing::ElementsAre(PowerEvent::canSleep, PowerEvent::willSleep, PowerEvent::willPowerOn,
                                               PowerEvent::hasPoweredOn));
}

TEST_F(CallHandlersTest, ACallerThatGoesIsNoLongerWaitedFor) {
    EXPECT_TRUE(isDone(RegisterForPower{}));
    Caller driver{true, [this](const AnyAnswer& answer) { sent.push_back(answer); }};
    handlers.perform(driver, Sleep{});
    handlers.forget(caller);
    EXPECT_TRUE(std::holds_alternative<SleepReport>(sent.back()));
    handlers.forget(driver); // was never registered
}

TEST_F(CallHandlersTest, WhatTheMacDoesNotHaveIsRefused) {
    EXPECT_EQ(refusal(Interfere{-1, 1000}), "This Mac has no such fan.");
    EXPECT_EQ(refusal(Interfere{2, 1000}), "This Mac has no such fan.");
    EXPECT_EQ(refusal(Wake{}), "The Mac is awake.");
    EXPECT_TRUE(isDone(SetLid{std::monostate{}}));
    EXPECT_EQ(refusal(SetLid{true}), "This Mac has no lid.");
    EXPECT_TRUE(isDone(RegisterForPower{}));
    EXPECT_EQ(refusal(RegisterForPower{}), "This connection is registered already.");
}

TEST_F(CallHandlersTest, AKeyThatCannotBeIsToldInAClause) {
    EXPECT_THROW(perform(SetKey{"Temperature", 1}), std::invalid_argument);
    EXPECT_THROW(perform(ReportSize{"", 1}), std::invalid_argument);
}

TEST_F(CallHandlersTest, WhatDrivesTheMacShowsInItsState) {
    EXPECT_TRUE(isDone(SetKey{"Tp09", 96}));
    EXPECT_TRUE(isDone(SetLid{true}));
    EXPECT_TRUE(isDone(SetLoad{0.5}));
    EXPECT_TRUE(isDone(Interfere{0, 2000}));
    EXPECT_TRUE(isDone(RegisterForPower{}));
    const auto shown = state();
    EXPECT_EQ(shown.temperatures.at("Tp09"), 96);
    EXPECT_TRUE(shown.lidClosed);
    EXPECT_EQ(shown.load, 0.5);
    EXPECT_TRUE(shown.fans.at(0).isManual);
    EXPECT_EQ(shown.fans.at(0).targetRPM, 2000);
    EXPECT_EQ(shown.powerClients, 1U);
    now = 1.5;
    EXPECT_EQ(state().time, 1.5);
    EXPECT_TRUE(isDone(Interfere{0, {}}));
    EXPECT_FALSE(state().fans.at(0).isManual);
}

TEST_F(CallHandlersTest, WritesThatWereCarriedOutAreShownWithTheirTimeAndOthersAreNot) {
    SMCKeyData write{};
    write.key = smcCode("F0Md");
    write.data8 = static_cast<std::uint8_t>(SMCCommand::writeBytes);
    write.keyInfo.dataSize = 1;
    write.bytes[0] = 1;
    now = 3;
    EXPECT_EQ(handlers.exchange(caller, write).value().result, 0);
    caller.isRoot = false;
    EXPECT_FALSE(handlers.exchange(caller, write).has_value());
    caller.isRoot = true;
    EXPECT_TRUE(isDone(AnswerWith{"F0Md", SMCCommand::writeBytes, 0x82}));
    EXPECT_EQ(handlers.exchange(caller, write).value().result, 0x82);
    const auto writes = state().writes;
    ASSERT_THAT(writes, SizeIs(1));
    EXPECT_EQ(writes[0].time, 3);
    EXPECT_EQ(writes[0].key, "F0Md");
    EXPECT_THAT(writes[0].bytes, ::testing::ElementsAre(1));
}

} // namespace
} // namespace kelo
