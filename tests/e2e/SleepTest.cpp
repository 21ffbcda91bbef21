#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

class Sleep : public EndToEnd {
protected:
    /// `report` is the output of `simmac sleep`, with the state of the fans at the acknowledgement.
    void expectHandedBackBefore(const std::string& report) {
        EXPECT_THAT(report, HasSubstr("1 client(s) acknowledged, 0 did not"));
        EXPECT_THAT(report, HasSubstr("automatic"));
        EXPECT_THAT(report, Not(HasSubstr("manual")));
        EXPECT_TRUE(installation.waitForLog("[NOTICE] service: hold: sleeping"));
    }
};

TEST_F(Sleep, HandsTheFansBackBeforeSleepAndTakesThemAgainAfterwards) {
    startEverything();
    const auto client = startHold();
    expectHandedBackBefore(installation.simmac({"sleep"}));
    EXPECT_TRUE(installation.mac()["asleep"].get<bool>());
    installation.simmac({"wake"});
    EXPECT_TRUE(installation.waitForLog("[NOTICE] service: hold: woke"));
    EXPECT_TRUE(installation.waitForLog("[NOTICE] service: hold: resumed"));
    EXPECT_TRUE(installation.isAnyFanManual());
}

TEST_F(Sleep, HandsTheFansBackAfterAnUnlockInProgress) {
    startEverything({"--profile", "locked"});
    const auto client = startHold();
    const auto unlocks = countWrites("Ftst", 1);
    const auto takings = countWrites("F0Md", 1);
    // Another program hands a fan back. To repair this, the helper must unlock the fan. The controller refuses manual
    // mode until the test clears the fault, so the unlock lasts as long as the test needs, up to 4 seconds.
    installation.simmac({"fault", "answer", "0x82", "--key", "F0Md", "--command", "write"});
    installation.simmac({"set", "Ftst", "0"});
    installation.simmac({"interfere", "0", "auto"});
    ASSERT_TRUE(waitForWrite("Ftst", 1, unlocks + 1));
    // Sends two requests to sleep. Once the Mac has refused one, the other has reached the Mac and waits for the
    // helper.
    const auto one = installation.start("simmac", {"sleep"});
    const auto other = installation.start("simmac", {"sleep"});
    ASSERT_TRUE(waitUntil([&] { return one->status() || other->status(); }, 10));
    const auto& refused = one->status() ? one : other;
    const auto& sleeping = one->status() ? other : one;
    EXPECT_THAT(refused->errors(), HasSubstr("asleep, or about to be"));
    EXPECT_EQ(sleeping->status(), std::nullopt);
    EXPECT_THAT(installation.helperLog(),
                Not(Contains("[NOTICE] service: hold: reasserted"))); // the repair is still in progress
    installation.simmac({"fault", "clear"});
    ASSERT_EQ(sleeping->waitForEnd(10), 0);
    expectHandedBackBefore(sleeping->output());
    EXPECT_EQ(countWrites("F0Md", 1), takings + 1); // the unlock succeeded before the fan was handed back
    const auto log = installation.helperLog();
    EXPECT_EQ(Lines(log.end() - 2, log.end()),
              Lines({"[NOTICE] service: hold: reasserted", "[NOTICE] service: hold: sleeping"}));
}

} // namespace
} // namespace kelo
