#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::HasSubstr;

class Clients : public EndToEnd {};

TEST_F(Clients, HoldSetsTheFansTargets) {
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

TEST_F(Clients, ServesWithoutTheMacAndLogsTheMissingLinkOnExit) {
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

TEST_F(Clients, HoldOfADisconnectedClientEndsAfterTheGracePeriod) {
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
