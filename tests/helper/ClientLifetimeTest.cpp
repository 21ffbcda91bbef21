#include <gmock/gmock.h>

#include "testing/FullQueue.h"
#include "testing/LateQueue.h"
#include "testing/ServiceFixture.h"

namespace kelo {
namespace {

using ::testing::IsEmpty;

const char* const disconnected = "[NOTICE] service: Last client disconnected; handing the fan back shortly.";
const char* const released = "[NOTICE] service: hold: released";
const char* const handedBack = "[NOTICE] service: Fan handed back to macOS after the client went away.";

class ClientLifetime : public ServiceFixture {
protected:
    ClientLifetime() {
        makeService();
        takeTrace();
    }

    /// Connects a client and starts a hold.
    void holdWithOneClient() {
        arrive();
        EXPECT_EQ(hold(0.5), std::nullopt);
        takeTrace();
    }
};

TEST_F(ClientLifetime, HandlesArrivalsAndDeparturesOnTheMainQueue) {
    holdWithOneClient();
    service->clientWentAway();
    EXPECT_THAT(takeTrace(), IsEmpty());
    queue.runReady();
    EXPECT_EQ(takeTrace(), Trace({disconnected}));
}

TEST_F(ClientLifetime, HandsTheFanBackEightSecondsAfterTheLastClientLeaves) {
    holdWithOneClient();
    leave();
    EXPECT_EQ(takeEffects(), Trace({disconnected}));
    queue.runFor(7.999);
    EXPECT_THAT(takeEffects(), IsEmpty());
    EXPECT_TRUE(isManual(0));
    queue.runFor(0.001);
    EXPECT_EQ(takeEffects(), restoreFans() + Trace({released}) + restoreFans() + Trace({handedBack}));
    EXPECT_FALSE(isAnyManual());
    queue.runFor(60);
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(ClientLifetime, KeepsTheHoldIfAClientReturnsInTime) {
    holdWithOneClient();
    leave();
    queue.runFor(7.999);
    EXPECT_EQ(queue.liveTimers(), 2);
    arrive();
    EXPECT_EQ(queue.liveTimers(), 1); // the hold's timer
    queue.runFor(60);
    EXPECT_EQ(takeLogs(), Trace({disconnected}));
    EXPECT_TRUE(isManual(0));
}

TEST_F(ClientLifetime, HandsTheFanBackIfAClientReturnsTooLate) {
    holdWithOneClient();
    leave();
    queue.runFor(8.001);
    arrive();
    EXPECT_EQ(takeLogs(), Trace({disconnected, released, handedBack}));
    EXPECT_FALSE(isAnyManual());
}

TEST_F(ClientLifetime, CountsAClientThatArrivesAsTheGracePeriodEnds) {
    holdWithOneClient();
    leave();
    queue.postAfter(8, [this] { service->clientArrived(); });
    queue.runFor(8);
    EXPECT_EQ(takeLogs(), Trace({disconnected, released, handedBack}));
    EXPECT_EQ(hold(0.5), std::nullopt);
    takeTrace();
    arrive();
    leave();
    EXPECT_THAT(takeLogs(), IsEmpty()); // one of the two clients is still connected
    leave();
    EXPECT_EQ(takeLogs(), Trace({disconnected}));
}

TEST_F(ClientLifetime, KeepsTheHoldIfAnArrivalInTimeIsProcessedLate) {
    holdWithOneClient();
    leave();
    queue.postAfter(7.9, [this] {
        service->clientArrived(); // on the listener's thread,
        clock.sleep(1);           // while the main thread is busy past the deadline
    });
    queue.runFor(8);
    queue.runFor(60);
    EXPECT_EQ(takeLogs(), Trace({disconnected}));
    EXPECT_TRUE(isManual(0));
}

TEST_F(ClientLifetime, RestartsTheGracePeriodWithEachDeparture) {
    holdWithOneClient();
    leave();
    queue.runFor(6);
    arrive();
    queue.runFor(1);
    leave();
    queue.runFor(7.999);
    EXPECT_TRUE(isManual(0));
    queue.runFor(0.001);
    EXPECT_FALSE(isAnyManual());
    EXPECT_EQ(takeLogs(), Trace({disconnected, disconnected, released, handedBack}));
}

TEST_F(ClientLifetime, NeitherLogsNorStartsATimerWithoutAHold) {
    arrive();
    leave();
    EXPECT_THAT(takeTrace(), IsEmpty());
    EXPECT_EQ(queue.liveTimers(), 0);
}

TEST_F(ClientLifetime, NeitherLogsNorStartsATimerWhileAClientRemains) {
    holdWithOneClient();
    arrive();
    leave();
    EXPECT_THAT(takeLogs(), IsEmpty());
    EXPECT_EQ(queue.liveTimers(), 1); // the hold's timer
    queue.runFor(60);
    EXPECT_TRUE(isManual(0));
    leave();
    EXPECT_EQ(takeLogs(), Trace({disconnected}));
}

TEST_F(ClientLifetime, TheClientCountNeverFallsBelowZero) {
    leave();
    leave();
    leave();
    holdWithOneClient();
    arrive();
    leave();
    EXPECT_THAT(takeLogs(), IsEmpty()); // the count is one, not minus two
    leave();
    EXPECT_EQ(takeLogs(), Trace({disconnected}));
}

TEST_F(ClientLifetime, ADepartureAtAClientCountOfZeroRestartsTheGracePeriod) {
    holdWithOneClient();
    leave();
    queue.runFor(5);
    leave();
    queue.runFor(7.999);
    EXPECT_TRUE(isManual(0));
    queue.runFor(0.001);
    EXPECT_FALSE(isAnyManual());
    EXPECT_EQ(takeLogs(), Trace({disconnected, disconnected, released, handedBack}));
}

TEST_F(ClientLifetime, LogsTheHandBackEvenIfTheFansWereAlreadyHandedBack) {
    holdWithOneClient();
    leave();
    EXPECT_EQ(handBack(), std::nullopt); // the request was still queued
    takeTrace();
    queue.runFor(8);
    EXPECT_EQ(takeTrace(), restoreFans() + Trace({handedBack}));
}

TEST_F(ClientLifetime, KeepsAHoldWithoutAClientUntilTheNextDeparture) {
    EXPECT_EQ(hold(0.5), std::nullopt);
    queue.runFor(60);
    EXPECT_TRUE(isManual(0));
    arrive();
    leave();
    queue.runFor(8);
    EXPECT_FALSE(isAnyManual());
}

TEST_F(ClientLifetime, HandsTheFansBackWhileYieldedOrAsleep) {
    arrive();
    EXPECT_EQ(hold(0.5, true), std::nullopt);
    clamshell.state = true;
    queue.runFor(2);
    leave();
    power.send(willSleep, 7);
    queue.runFor(8);
    EXPECT_EQ(takeLogs().back(), handedBack);
    clamshell.state = false;
    power.send(hasPoweredOn);
    queue.runFor(60);
    EXPECT_FALSE(isAnyManual());
}

TEST_F(ClientLifetime, DoesNotCallAServiceDestroyedInTheGracePeriod) {
    holdWithOneClient();
    leave();
    service.reset();
    takeTrace();
    queue.runFor(60);
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(ClientLifetime, IgnoresALateGracePeriodTimer) {
    LateQueue late(now);
    service.reset();
    makeServiceOn(late);
    service->clientArrived();
    service->hold(0.5, false, [](const auto& error) { EXPECT_EQ(error, std::nullopt); });
    service->clientWentAway();
    late.runReady(); // the grace period's timer is the last one
    service->clientArrived();
    late.runReady();
    takeTrace();
    late.fireLastTimer();
    EXPECT_THAT(takeTrace(), IsEmpty());
    EXPECT_TRUE(isManual(0));
    service.reset();
    late.fireLastTimer();
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(ClientLifetime, HandsTheFanBackAtOnceWithoutMemoryForTheTimer) {
    FullQueue full(now);
    service.reset();
    makeServiceOn(full);
    service->clientArrived();
    service->hold(0.5, false, [](const auto& error) { EXPECT_EQ(error, std::nullopt); });
    full.runReady();
    takeTrace();
    full.isFull = true;
    service->clientWentAway();
    full.runReady();
    EXPECT_EQ(takeLogs(), Trace({disconnected, released, handedBack}));
    EXPECT_FALSE(isAnyManual());
}

TEST_F(ClientLifetime, ShuttingDownKeepsTheGracePeriodTimer) {
    holdWithOneClient();
    leave();
    service->shutdownNow();
    takeTrace();
    queue.runFor(8);
    EXPECT_EQ(takeTrace(), restoreFans() + Trace({handedBack}));
}

TEST_F(ClientLifetime, ShuttingDownKeepsTheClientCount) {
    holdWithOneClient();
    service->shutdownNow();
    EXPECT_EQ(hold(0.5), std::nullopt);
    arrive();
    takeTrace();
    leave();
    EXPECT_THAT(takeLogs(), IsEmpty()); // the first client is still connected
    leave();
    EXPECT_EQ(takeLogs(), Trace({disconnected}));
}

} // namespace
} // namespace kelo
