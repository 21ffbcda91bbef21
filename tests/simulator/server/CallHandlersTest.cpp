#include "simulator/server/CallHandlers.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "testing/VirtualQueue.h"

namespace kelo {
namespace {

using namespace hardware_calls;
using ::testing::SizeIs;

class CallHandlersTest : public ::testing::Test {
protected:
    /// Makes a call. Returns the reply; nullopt if there is none yet.
    std::optional<AnyAnswer> perform(const AnyCall& call) {
        replies.clear();
        handlers.perform(call, [this](const AnyAnswer& answer) { replies.push_back(answer); });
        return replies.empty() ? std::nullopt : std::optional(replies.back());
    }
    bool isDone(const AnyCall& call) { return std::holds_alternative<Done>(perform(call).value()); }
    std::string refusal(const AnyCall& call) { return std::get<Refused>(perform(call).value()).sentence; }
    MacState state() { return std::get<MacState>(perform(Show{}).value()); }

    double now = 0;
    VirtualQueue queue{now};
    CallHandlers handlers{queue, [this] { return now; }, *Profile::named("laptop"), 1.0};
    std::vector<AnyAnswer> replies;
};

TEST_F(CallHandlersTest, DelaysExchangesOnlyUntilFaultsAreCleared) {
    EXPECT_EQ(handlers.exchangeDelay(), 0);
    EXPECT_TRUE(isDone(AnswerSlowly{0.5}));
    EXPECT_EQ(handlers.exchangeDelay(), 0.5);
    EXPECT_TRUE(isDone(ClearFaults{}));
    EXPECT_EQ(handlers.exchangeDelay(), 0);
}

TEST_F(CallHandlersTest, AnswersASleepCallOnceSleepIsAcknowledged) {
    std::int64_t notificationID = 0;
    const int client = handlers.power().addClient([&](auto, std::int64_t id) { notificationID = id; });
    EXPECT_FALSE(perform(Sleep{.now = true}).has_value());
    queue.runFor(2);
    handlers.power().acknowledge(client, notificationID);
    ASSERT_THAT(replies, SizeIs(1));
    const auto report = std::get<SleepReport>(replies[0]);
    EXPECT_EQ(report.seconds, 2);
    EXPECT_EQ(report.acknowledged, 1);
    EXPECT_EQ(report.missing, 0);
    EXPECT_THAT(report.fans, SizeIs(2));
    EXPECT_TRUE(state().asleep);
    EXPECT_EQ(refusal(Sleep{}), "The Mac is asleep, or about to be.");
}

TEST_F(CallHandlersTest, RefusesCallsThatDoNotFitTheMac) {
    EXPECT_EQ(refusal(Interfere{-1, 1000}), "This Mac has no such fan.");
    EXPECT_EQ(refusal(Interfere{2, 1000}), "This Mac has no such fan.");
    EXPECT_EQ(refusal(Wake{}), "The Mac is awake.");
    EXPECT_TRUE(isDone(SetLid{std::monostate{}}));
    EXPECT_EQ(refusal(SetLid{true}), "This Mac has no lid.");
}

TEST_F(CallHandlersTest, ThrowsForAnInvalidKey) {
    EXPECT_THROW(perform(SetKey{"Temperature", 1}), std::invalid_argument);
    EXPECT_THROW(perform(ReportSize{"", 1}), std::invalid_argument);
}

TEST_F(CallHandlersTest, ShowsEachChangeInTheState) {
    EXPECT_TRUE(isDone(SetKey{"Tp09", 96}));
    EXPECT_TRUE(isDone(SetLid{true}));
    EXPECT_TRUE(isDone(SetLoad{0.5}));
    EXPECT_TRUE(isDone(Interfere{0, 2000}));
    handlers.power().addClient([](auto, auto) {});
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

TEST_F(CallHandlersTest, ShowsOnlySuccessfulWrites) {
    SMCKeyData write{};
    write.key = smcCode("F0Md");
    write.data8 = static_cast<std::uint8_t>(SMCCommand::writeBytes);
    write.keyInfo.dataSize = 1;
    write.bytes[0] = 1;
    now = 3;
    EXPECT_EQ(handlers.exchange(write).value().result, 0);
    EXPECT_TRUE(isDone(AnswerWith{"F0Md", SMCCommand::writeBytes, 0x82}));
    EXPECT_EQ(handlers.exchange(write).value().result, 0x82);
    const auto writes = state().writes;
    ASSERT_THAT(writes, SizeIs(1));
    EXPECT_EQ(writes[0].time, 3);
    EXPECT_EQ(writes[0].key, "F0Md");
    EXPECT_THAT(writes[0].bytes, ::testing::ElementsAre(1));
}

} // namespace
} // namespace kelo
