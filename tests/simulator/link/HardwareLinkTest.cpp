#include "simulator/link/HardwareLink.h"

#include <gmock/gmock.h>

#include <chrono>

#include "tests/support/ScriptedMac.h"

namespace kelo {
namespace {

using namespace hardware_calls;

class HardwareLinkTest : public ::testing::Test {
protected:
    HardwareLinkTest() { mac.accept(); }

    std::string failure() {
        return failureOf([this] { link->call(Wake{}); });
    }

    ScriptedMac mac;
    std::unique_ptr<HardwareLink> link = HardwareLink::connect(mac.folder());
};

TEST_F(HardwareLinkTest, ThereIsNoLinkWithoutAMac) {
    const MacFolder empty;
    EXPECT_EQ(HardwareLink::connect(empty.descriptor()), nullptr);
}

TEST_F(HardwareLinkTest, ACallIsHeardAndItsAnswerReturned) {
    MacState state;
    state.load = 0.5;
    mac.say(state);
    EXPECT_EQ(link->call(Show{}).load, 0.5);
    EXPECT_TRUE(std::holds_alternative<Show>(mac.hear()));
}

TEST_F(HardwareLinkTest, ARefusalIsThrownAsItsSentenceAndTheNextCallIsAnswered) {
    mac.say(Refused{"The Mac is awake."});
    EXPECT_EQ(failure(), "The Mac is awake.");
    mac.say(Done{});
    EXPECT_EQ(failure(), "none");
}

TEST_F(HardwareLinkTest, NothingWorksAfterAnAnswerThatCannotBeUnderstood) {
    mac.say({0xFF, 0x00});
    mac.say(Done{}); // may belong to either call
    EXPECT_EQ(failure(), "The simulated Mac cannot be understood: that is not one name with its members.");
    EXPECT_EQ(failure(), "The simulated Mac has gone.");
}

TEST_F(HardwareLinkTest, NothingWorksAfterAnAnswerToSomethingElse) {
    mac.say(SleepReport{});
    mac.say(Done{});
    EXPECT_EQ(failure(), "The simulated Mac answered something else.");
    EXPECT_EQ(failure(), "The simulated Mac has gone.");
}

TEST_F(HardwareLinkTest, AMacThatHasGoneFailsTheCall) {
    mac.hangUp();
    EXPECT_EQ(failure(), "The simulated Mac has gone.");
}

TEST_F(HardwareLinkTest, AMacThatHangsIsWaitedForUntilTheTimeoutAndNoLonger) {
    link->setTimeout(std::chrono::seconds(1));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(failure(), "The simulated Mac does not answer.");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
    const auto retry = std::chrono::steady_clock::now();
    EXPECT_EQ(failure(), "The simulated Mac has gone."); // at once, since a late answer would belong to the first
    EXPECT_LT(std::chrono::steady_clock::now() - retry, std::chrono::milliseconds(900));
}

TEST_F(HardwareLinkTest, AMacThatAcceptsNobodyIsWaitedForUntilTheTimeoutAndNoLonger) {
    constexpr auto timeout = std::chrono::milliseconds(50);
    const auto waiting = mac.fillBacklog();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(HardwareLink::connect(mac.folder(), timeout), MacHangs);
    EXPECT_GE(std::chrono::steady_clock::now() - start, timeout);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST_F(HardwareLinkTest, AnAnnouncementIsReceivedAndAllowed) {
    mac.say(PowerAnnouncement{PowerEvent::willSleep, 1LL << 40});
    const auto announcement = link->receiveAnnouncement();
    ASSERT_TRUE(announcement.has_value());
    EXPECT_EQ(announcement->event, PowerEvent::willSleep);
    EXPECT_EQ(announcement->notificationID, 1LL << 40);
    link->tell({announcement->notificationID});
    EXPECT_EQ(std::get<AllowPowerChange>(mac.hear()).notificationID, 1LL << 40);
}

TEST_F(HardwareLinkTest, WhatIsNoAnnouncementIsNone) {
    mac.say(Done{});
    EXPECT_FALSE(link->receiveAnnouncement().has_value());
    mac.say({0x01});
    EXPECT_FALSE(link->receiveAnnouncement().has_value());
    mac.hangUp();
    EXPECT_FALSE(link->receiveAnnouncement().has_value());
    link->tell({1}); // is lost, and ends nothing
}

} // namespace
} // namespace kelo
