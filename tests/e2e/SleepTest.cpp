#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

class Sleep : public EndToEnd {
protected:
    /// Sends the Mac to sleep and checks what it saw when the acknowledgement came.
    void expectHandedBackBeforeTheAcknowledgement() { expectHandedBackBefore(world.simmac({"sleep"})); }
    /// `report` is what the Mac told about falling asleep.
    void expectHandedBackBefore(const std::string& report) {
        EXPECT_THAT(report, HasSubstr("1 client(s) acknowledged, 0 did not"));
        EXPECT_THAT(report, HasSubstr("automatic"));
        EXPECT_THAT(report, Not(HasSubstr("manual")));
        EXPECT_TRUE(world.waitForLog("[NOTICE] service: hold: sleeping"));
    }
    void expectResumedAfterWaking() {
        world.simmac({"wake"});
        EXPECT_TRUE(world.waitForLog("[NOTICE] service: hold: woke"));
        EXPECT_TRUE(world.waitForLog("[NOTICE] service: hold: resumed"));
        EXPECT_TRUE(world.isAnyFanManual());
    }
};

TEST_F(Sleep, WhileEngagedTheFansAreHandedBackFirstAndTakenAgainAfterwards) {
    startEverything();
    const auto client = startHold();
    expectHandedBackBeforeTheAcknowledgement();
    EXPECT_TRUE(world.mac()["asleep"].get<bool>());
    expectResumedAfterWaking();
}

TEST_F(Sleep, WhileTheMainThreadUnlocksAFan) {
    startEverything({"--profile", "locked"});
    const auto client = startHold();
    const auto unlocks = countWrites("Ftst", 1);
    const auto takings = countWrites("F0Md", 1);
    // As after another program's hand-back. The repair is refused manual mode until the test allows it: the unlock
    // lasts for as long as the test needs it, up to 4 seconds.
    world.simmac({"fault", "answer", "0x82", "--key", "F0Md", "--command", "write"});
    world.simmac({"set", "Ftst", "0"});
    world.simmac({"interfere", "0", "auto"});
    ASSERT_TRUE(waitForWrite("Ftst", 1, unlocks + 1));
    // Sent to sleep twice: as soon as one is turned away, the other has reached the Mac and waits for the helper.
    const auto one = world.start("simmac", {"sleep"});
    const auto other = world.start("simmac", {"sleep"});
    ASSERT_TRUE(waitUntil([&] { return one->status() || other->status(); }, 10));
    const auto& turnedAway = one->status() ? one : other;
    const auto& sleeping = one->status() ? other : one;
    EXPECT_THAT(turnedAway->errors(), HasSubstr("asleep, or about to be"));
    EXPECT_EQ(sleeping->status(), std::nullopt);
    EXPECT_THAT(world.helperLog(), Not(Contains("[NOTICE] service: hold: reasserted"))); // the repair is not over
    world.simmac({"fault", "clear"});
    ASSERT_EQ(sleeping->waitForEnd(10), 0);
    expectHandedBackBefore(sleeping->output());
    EXPECT_EQ(countWrites("F0Md", 1), takings + 1); // the unlock went through before the fan was handed back
    const auto log = world.helperLog();
    EXPECT_EQ(Lines(log.end() - 2, log.end()),
              Lines({"[NOTICE] service: hold: reasserted", "[NOTICE] service: hold: sleeping"}));
}

TEST_F(Sleep, AHelperThatHangsIsWaitedFor) {
    startEverything();
    const auto client = startHold();
    world.helper().signal(SIGSTOP);
    const auto sleeping = world.start("simmac", {"sleep"});
    // Nobody answers the question whether it may sleep.
    EXPECT_EQ(sleeping->waitForEnd(1), std::nullopt);
    world.helper().signal(SIGCONT);
    EXPECT_EQ(sleeping->waitForEnd(10), 0);
    EXPECT_THAT(sleeping->output(), HasSubstr("1 client(s) acknowledged"));
}

TEST_F(Sleep, WhileTheFirstFanOfAHoldIsBeingTaken) {
    startEverything({"--profile", "locked"});
    // Manual mode is refused until the test allows it, so that the hold takes as long as the test needs.
    world.simmac({"fault", "answer", "0x82", "--key", "F0Md", "--command", "write"});
    const auto client = world.start("kelo", {"hold", "0.5"});
    ASSERT_TRUE(waitForWrite("Ftst", 1));
    const auto sleeping = world.start("simmac", {"sleep"});
    EXPECT_EQ(sleeping->waitForEnd(0.5), std::nullopt); // the helper was asked and has not answered yet
    world.simmac({"fault", "clear"});
    ASSERT_EQ(sleeping->waitForEnd(10), 0);
    expectHandedBackBefore(sleeping->output());
    EXPECT_THAT(world.helperLog(), Contains("[NOTICE] service: hold: sleeping"));
    expectResumedAfterWaking();
}

TEST_F(Sleep, AHoldThatIsAskedForDuringSleepTakesTheFansAtTheWake) {
    startEverything();
    world.simmac({"sleep"});
    const auto client = startHold();
    EXPECT_THAT(world.helperLog(), Contains("[NOTICE] service: hold: yielded"));
    EXPECT_FALSE(world.isAnyFanManual());
    expectResumedAfterWaking();
}

} // namespace
} // namespace kelo
