#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class Sleep : public EndToEnd {
protected:
    /// Sends the Mac to sleep and checks what it saw when the acknowledgement came.
    void expectHandedBackBeforeTheAcknowledgement() {
        const auto report = world.simmac({"sleep"});
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

TEST_F(Sleep, WhileYieldedToTheLid) {
    startEverything();
    const auto client = startHold("0.5", {"--hand-back-on-lid-close"});
    world.simmac({"lid", "close"});
    ASSERT_TRUE(world.waitForLog("[NOTICE] service: hold: yielded"));
    expectHandedBackBeforeTheAcknowledgement();
    world.simmac({"lid", "open"});
    expectResumedAfterWaking();
}

TEST_F(Sleep, WhileAddingAir) {
    startEverything();
    world.simmac({"set", "Tp09", "99"});
    const auto client = startHold("0.1");
    expectHandedBackBeforeTheAcknowledgement();
}

TEST_F(Sleep, WhileAnotherProgramHasTheFan) {
    startEverything();
    const auto client = startHold();
    world.simmac({"interfere", "0", "2000"});
    expectHandedBackBeforeTheAcknowledgement();
}

TEST_F(Sleep, WhileTheLastClientHasGone) {
    startEverything();
    const auto client = startHold();
    client->signal(SIGKILL);
    ASSERT_TRUE(world.waitForLog("[NOTICE] service: Last client disconnected; handing the fan back shortly."));
    expectHandedBackBeforeTheAcknowledgement();
}

TEST_F(Sleep, WhileTheMainThreadUnlocksAFan) {
    startEverything({"--profile", "locked"});
    const auto client = startHold();
    ASSERT_EQ(world.run("kelo", {"status"}).status, 0);
    // The switch is off and the fan automatic, as after another program's hand-back: the repair takes a second.
    world.simmac({"set", "Ftst", "0"});
    world.simmac({"interfere", "0", "auto"});
    ASSERT_TRUE(waitUntil([&] { return world.mac()["fans"][0]["isManual"] == false; }, 5));
    expectHandedBackBeforeTheAcknowledgement();
}

TEST_F(Sleep, AHelperThatHangsIsWaitedForForThirtySecondsAtMost) {
    startEverything();
    const auto client = startHold();
    world.helper().signal(SIGSTOP);
    const auto sleeping = world.start("simmac", {"sleep"});
    // Nobody answers the question whether it may sleep; the Mac does not wait for ever, but it does wait.
    EXPECT_EQ(sleeping->waitForEnd(1), std::nullopt);
    world.helper().signal(SIGCONT);
    EXPECT_EQ(sleeping->waitForEnd(10), 0);
    EXPECT_THAT(sleeping->output(), HasSubstr("1 client(s) acknowledged"));
}

TEST_F(Sleep, WithoutAHoldNobodyIsAskedAndTheMacSleepsAtOnce) {
    startEverything();
    EXPECT_THAT(world.simmac({"sleep"}), HasSubstr("0 client(s) acknowledged, 0 did not"));
    EXPECT_EQ(world.mac()["powerClients"], 0);
}

} // namespace
} // namespace kelo
