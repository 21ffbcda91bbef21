#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::HasSubstr;

class Clients : public EndToEnd {};

TEST_F(Clients, AHoldTakesTheFansToTheirTargets) {
    startEverything();
    const auto client = startHold("50%");
    EXPECT_TRUE(installation.waitForLog("[NOTICE] service: hold: engaged(fraction: 0.5, neededUnlock: false)"));
    const auto fans = installation.mac()["fans"];
    EXPECT_EQ(fans[0]["targetRPM"], 3600);
    EXPECT_EQ(fans[1]["targetRPM"], 3350);
    client->signal(SIGINT);
    EXPECT_EQ(client->waitForEnd(10), 0);
    EXPECT_THAT(client->output(), HasSubstr("The fans are under automatic control."));
    EXPECT_FALSE(installation.isAnyFanManual());
}

TEST_F(Clients, TheFanIsHandedBackEightSecondsAfterTheLastClientWasKilled) {
    startEverything();
    const auto client = startHold();
    client->signal(SIGKILL);
    ASSERT_TRUE(installation.waitForLog(disconnected));
    EXPECT_TRUE(installation.isAnyFanManual());
    ASSERT_TRUE(installation.waitForLog(handedBack, 20));
    expectOneGracePeriod();
    EXPECT_FALSE(installation.isAnyFanManual());
    EXPECT_EQ(installation.helper().status(), std::nullopt);
}

TEST_F(Clients, AClientThatReturnsInTimeKeepsTheHold) {
    startEverything();
    const auto client = startHold();
    client->signal(SIGKILL);
    ASSERT_TRUE(installation.waitForLog(disconnected));
    const auto returned = connectRawClient();
    EXPECT_FALSE(installation.waitForLog(handedBack, 8.5));
    EXPECT_TRUE(installation.isAnyFanManual());
    EXPECT_EQ(returned->ask(requests::HelperVersion{}), 6);
}

TEST_F(Clients, AClientThatIsKilledMidRequestIsCountedOut) {
    startEverything({"--profile", "locked"});
    const auto client = connectRawClient();
    client->request(requests::Hold{0.5, false});
    ASSERT_TRUE(waitForWrite("Ftst", 1)); // the helper is at it
    client->process().signal(SIGKILL);
    EXPECT_TRUE(installation.waitForLog("[NOTICE] service: hold: engaged(fraction: 0.5, neededUnlock: true)"));
    EXPECT_TRUE(installation.waitForLog(disconnected));
    const auto other = connectRawClient();
    EXPECT_EQ(other->ask(requests::HandBack{}), std::nullopt);
    EXPECT_FALSE(installation.isAnyFanManual());
}

TEST_F(Clients, WhatAnotherProgramChangedIsRepairedWithinATick) {
    startEverything();
    const auto client = startHold();
    installation.simmac({"interfere", "1", "auto"});
    EXPECT_TRUE(installation.waitForLog("[NOTICE] service: hold: reasserted", 5));
    installation.simmac({"interfere", "0", "2000"});
    EXPECT_TRUE(waitUntil([&] { return installation.mac()["fans"][0]["targetRPM"] == 3600; }, 5));
    EXPECT_TRUE(installation.mac()["fans"][1]["isManual"].get<bool>());
}

TEST_F(Clients, ASlowControllerIsHeldAndHandedBack) {
    startEverything();
    installation.simmac({"fault", "slow", "0.01"});
    const auto client = startHold();
    EXPECT_TRUE(installation.isAnyFanManual());
    installation.helper().signal(SIGTERM);
    expectGoodEnd(30);
}

TEST_F(Clients, WithoutTheMacTheHelperStillServesAndLogsThatItHasNoLinkWhenItLeaves) {
    startEverything();
    const auto client = startHold();
    installation.stopMac();
    EXPECT_EQ(installation.run("kelo", {"version"}).status, 0);
    installation.helper().signal(SIGTERM);
    EXPECT_EQ(installation.helper().waitForEnd(15), 0);
    const auto log = installation.helperLog();
    EXPECT_EQ(Lines(log.end() - 2, log.end()),
              Lines({"[NOTICE] service: Handed the fan back on the way out.", noLink}));
}

TEST_F(Clients, AHoldWhoseClientHasGoneBeginsAndEndsAfterTheGracePeriod) {
    startEverything({"--profile", "locked"});
    installation.simmac({"fault", "answer", "0x82", "--key", "F0Md", "--command", "write"});
    auto client = connectRawClient();
    client->request(requests::Hold{0.3, false});
    ASSERT_TRUE(waitForWrite("Ftst", 1)); // the main thread is busy until the test grants manual mode
    client->request(requests::Hold{0.6, false});
    client.reset();
    installation.simmac({"fault", "clear"});
    ASSERT_TRUE(installation.waitForLog("[NOTICE] service: hold: engaged(fraction: 0.6, neededUnlock: true)"))
        << ::testing::PrintToString(installation.helperLog());
    EXPECT_TRUE(installation.isAnyFanManual());
    ASSERT_TRUE(installation.waitForLog(handedBack, 15));
    EXPECT_FALSE(installation.isAnyFanManual());
    expectOneGracePeriod();
}

} // namespace
} // namespace kelo
