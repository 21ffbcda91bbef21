// Tests the helper's exit while its main thread is blocked.

#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

class DelayedWayOut : public EndToEnd {
protected:
    /// A client with `count` pending hold requests, on a Mac whose controller never grants manual mode. The first
    /// request blocks the main thread in an unlock.
    std::unique_ptr<RawClient> requestHolds(int count) {
        startEverything({"--profile", "refusing"});
        auto client = connectRawClient();
        for (int i = 0; i < count; ++i)
            client->request(requests::Hold{0.5, false});
        EXPECT_TRUE(waitForWrite("Ftst", 1));
        return client;
    }
};

TEST_F(DelayedWayOut, SignalWaitsOnlyForTheUnlockInProgress) {
    const auto client = requestHolds(64);
    installation.helper().signal(SIGTERM);
    expectCleanExit(8); // 64 unlocks of 4 seconds would take more than four minutes
}

TEST_F(DelayedWayOut, DeletedExecutableWaitsOnlyForTheUnlockInProgress) {
    const auto client = requestHolds(64);
    std::filesystem::remove(installation.program(Installation::helperName));
    expectCleanExit(8); // four of the 64 are queued in the helper; their unlocks would take 16 seconds
}

TEST_F(DelayedWayOut, OtherClientsWaitForAtMostFourHoldsOfADisconnectedOne) {
    auto client = requestHolds(64);
    client.reset();
    const auto status = installation.start("kelo", {"status"}); // the main thread answers it
    EXPECT_EQ(status->waitForEnd(20), 0);                       // four unlocks of 4 seconds
}

} // namespace
} // namespace kelo
