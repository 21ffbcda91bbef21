// One admitted process sends requests without pause; the helper must still serve other clients in time.

#include <chrono>

#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::HasSubstr;

class Storm : public EndToEnd {
protected:
    Storm() {
        startEverything();
        holding = startHold();
        storm = startRawClient();
        EXPECT_EQ(storm->perform("storm 32"), "storming");
    }

    static double secondsOf(const std::function<void()>& work) {
        const auto start = std::chrono::steady_clock::now();
        work();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

    std::unique_ptr<ChildProcess> holding;
    std::unique_ptr<RawClient> storm;
};

TEST_F(Storm, RepairsAFanWithinFourSeconds) {
    installation.simmac({"interfere", "1", "auto"});
    EXPECT_TRUE(waitUntil([&] { return installation.mac()["fans"][1]["isManual"].get<bool>(); }, 4));
}

TEST_F(Storm, AcknowledgesSleepWithinTwoSeconds) {
    std::string report;
    EXPECT_LT(secondsOf([&] { report = installation.simmac({"sleep", "--now"}); }), 2);
    EXPECT_THAT(report, HasSubstr("1 client(s) acknowledged, 0 did not"));
}

TEST_F(Storm, HandsTheFansBackForAnotherClientWithinTwoSeconds) {
    EXPECT_LT(secondsOf([&] { EXPECT_EQ(installation.run("kelo", {"hand-back"}).status, 0); }), 2);
    EXPECT_FALSE(installation.isAnyFanManual());
}

TEST_F(Storm, StandsDownWithinTwoSeconds) {
    EXPECT_LT(secondsOf([&] {
                  EXPECT_EQ(installation.run("kelo", {"stand-down"}).status, 0);
                  expectCleanExit();
              }),
              2);
}

} // namespace
} // namespace kelo
