// Ways out while something keeps the helper's main thread waiting.

#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

class DelayedWayOut : public EndToEnd {
protected:
    /// A client with so many requests to hold on their way, on a Mac whose controller never grants manual mode; the
    /// first of them keeps the main thread in the unlock.
    std::unique_ptr<RawClient> askForHolds(int count) {
        startEverything({"--profile", "refusing"});
        auto client = connectRawClient();
        for (int i = 0; i < count; ++i)
            client->request(requests::Hold{0.5, false});
        EXPECT_TRUE(waitForWrite("Ftst", 1));
        return client;
    }
};

TEST_F(DelayedWayOut, ASignalWaitsForTheUnlockInProgressAndForNoHoldThatIsQueuedBehindIt) {
    const auto client = askForHolds(64);
    installation.helper().signal(SIGTERM);
    expectGoodEnd(8); // 64 unlocks of 4 seconds would take more than four minutes
}

TEST_F(DelayedWayOut, ADeletedExecutableWaitsForTheUnlockInProgressAndForNoHoldThatIsQueuedBehindIt) {
    const auto client = askForHolds(64);
    std::filesystem::remove(installation.program(Installation::helperName));
    expectGoodEnd(8); // of the 64, four wait in the helper: 16 seconds
}

TEST_F(DelayedWayOut, OfTheHoldsOfAClientThatHasGoneOthersWaitForFourAtMost) {
    auto client = askForHolds(64);
    client.reset();
    const auto status = installation.start("kelo", {"status"}); // is answered by the main thread
    EXPECT_EQ(status->waitForEnd(20), 0);                       // four unlocks of 4 seconds
}

} // namespace
} // namespace kelo
