#include "helper/HelperService.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>

#include "protocol/FanSnapshot.h"
#include "testing/FullQueue.h"
#include "testing/InterposedExchange.h"
#include "testing/ServiceFixture.h"

namespace kelo {
namespace {

using ::testing::IsEmpty;

class HelperServiceTest : public ServiceFixture {};

const char* const noFansText = "This Mac has no controllable fan.";

TEST_F(HelperServiceTest, CountsTheFansWithoutLogging) {
    makeService();
    EXPECT_EQ(takeTrace(), Trace({"FNum?"}));
}

TEST_F(HelperServiceTest, RefusesEveryRequestWithoutAController) {
    exchange.isPresent = false;
    makeService();
    EXPECT_EQ(takeTrace(),
              Trace({"[ERROR] service: No controllable fan on this Mac — the helper will refuse every request."}));
    EXPECT_EQ(fetchSnapshot(), std::nullopt);
    EXPECT_EQ(hold(0.5), noFansText);
    EXPECT_EQ(handBack(), std::nullopt);
    EXPECT_EQ(helperVersion(), 6);
    EXPECT_THAT(takeTrace(), IsEmpty());
    standDown();
    queue.runFor(0.3);
    EXPECT_EQ(takeTrace(), Trace({"[NOTICE] service: A newer Kelo asked us to stand down.", "reply", "leave"}));
}

TEST_F(HelperServiceTest, RefusesRequestsWithoutFans) {
    controller.setNumber("FNum", 0);
    makeService();
    EXPECT_EQ(takeTrace().back(),
              "[ERROR] service: No controllable fan on this Mac — the helper will refuse every request.");
    EXPECT_EQ(hold(0.5), noFansText);
}

TEST_F(HelperServiceTest, ReturnsTheVersionWithoutUsingTheMainQueue) {
    makeService();
    ReplyProbe<std::int64_t> probe;
    service->helperVersion(probe.reply());
    EXPECT_TRUE(probe.isAnswered());
    EXPECT_EQ(probe.value(), 6);
}

TEST_F(HelperServiceTest, TakesASnapshotOnTheMainQueue) {
    makeService();
    takeTrace();
    ReplyProbe<std::optional<Data>> probe;
    service->fetchSnapshot(probe.reply());
    EXPECT_FALSE(probe.isAnswered());
    EXPECT_THAT(takeTrace(), IsEmpty());
    queue.runReady();
    EXPECT_TRUE(probe.isAnswered());
}

TEST_F(HelperServiceTest, ReadsTheWarmthBeforeTheChipTemperature) {
    makeService();
    InterposedExchange interposed(exchange);
    interposed.afterNext("read Tp09", [this] {
        setChip(85);
        controller.setNumber("F1Ac", 5000);
    });
    const auto taken = snapshot();
    EXPECT_EQ(taken.currentRPM, 1200); // the fans were read earlier
    EXPECT_EQ(taken.warmth, "cool");
    EXPECT_EQ(taken.chipCelsius, 85);
}

TEST_F(HelperServiceTest, ASnapshotContainsTheReadings) {
    makeService();
    controller.setNumber("F1Ac", 2404);
    controller.setNumber("F1Tg", 2400);
    setChip(61.5);
    EXPECT_EQ(snapshot(), (FanSnapshot{.fanCount = 2,
                                       .currentRPM = 2404,
                                       .minRPM = 1200,
                                       .maxRPM = 5500,
                                       .targetRPM = 2400,
                                       .underKeloControl = false,
                                       .warmth = "warm",
                                       .chipCelsius = 61.5,
                                       .addingAir = false,
                                       .lidHasFan = false}));
}

TEST_F(HelperServiceTest, ReportsTheFirstOfTheFastestFans) {
    makeService();
    controller.setNumber("F0Ac", 2000);
    controller.setNumber("F1Ac", 2000);
    EXPECT_EQ(snapshot().maxRPM, 6000);
    controller.setNumber("F1Ac", 2001);
    EXPECT_EQ(snapshot().maxRPM, 5500);
    controller.setNumber("F0Ac", 2002);
    EXPECT_EQ(snapshot().maxRPM, 6000);
}

TEST_F(HelperServiceTest, TheSnapshotCountsTheUsableFans) {
    makeService();
    controller.remove("F0Ac");
    EXPECT_EQ(snapshot().fanCount, 1);
    EXPECT_EQ(snapshot().maxRPM, 5500);
}

TEST_F(HelperServiceTest, ReportsKeloControlWhileAnyFanIsManual) {
    makeService();
    EXPECT_FALSE(snapshot().underKeloControl);
    controller.setNumber("F1Md", 1);
    EXPECT_TRUE(snapshot().underKeloControl);
    controller.setNumber("F1Md", 0);
    controller.setNumber("F0Md", 1);
    EXPECT_TRUE(snapshot().underKeloControl);
}

TEST_F(HelperServiceTest, ReportsWarmthAsText) {
    makeService();
    for (const auto& [celsius, text] : {std::pair(45, "cool"), std::pair(60, "warm"), std::pair(80, "hot")}) {
        setChip(celsius);
        EXPECT_EQ(snapshot().warmth, text);
    }
}

TEST_F(HelperServiceTest, OmitsTheChipTemperatureWithoutAReading) {
    makeService();
    controller.remove("Tp09");
    EXPECT_EQ(snapshot().chipCelsius, std::nullopt);
    EXPECT_EQ(snapshot().warmth, "cool");
}

TEST_F(HelperServiceTest, ReportsOnlyTheChipIfNoFanIsUsable) {
    makeService();
    EXPECT_EQ(hold(0.5, true), std::nullopt);
    clamshell.state = true;
    queue.runFor(2);
    controller.remove("F0Ac");
    controller.remove("F1Ac");
    setChip(85);
    EXPECT_EQ(snapshot(), (FanSnapshot{0, 0, 0, 0, 0, false, "hot", 85, false, false}));
}

TEST_F(HelperServiceTest, RepliesWithNoSnapshotIfAReadingIsNotFinite) {
    makeService();
    for (const double number : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        setChip(number);
        EXPECT_EQ(fetchSnapshot(), std::nullopt);
        setChip(45);
        controller.setNumber("F0Ac", number);
        controller.setNumber("F1Ac", number);
        EXPECT_EQ(fetchSnapshot(), std::nullopt);
        controller.setNumber("F0Ac", 1200);
        controller.setNumber("F1Ac", 1200);
        EXPECT_NE(fetchSnapshot(), std::nullopt);
    }
}

TEST_F(HelperServiceTest, TheSnapshotReportsAddedAirAndTheClosedLid) {
    makeService();
    setChip(96);
    EXPECT_EQ(hold(0.3, true), std::nullopt);
    EXPECT_TRUE(snapshot().addingAir);
    EXPECT_FALSE(snapshot().lidHasFan);
    clamshell.state = true;
    queue.runFor(2);
    EXPECT_TRUE(snapshot().lidHasFan);
    handBack();
    EXPECT_FALSE(snapshot().addingAir);
    EXPECT_FALSE(snapshot().lidHasFan);
}

TEST_F(HelperServiceTest, HandBackRepliesAfterTheFansAreHandedBack) {
    makeService();
    hold(0.5);
    takeTrace();
    ReplyProbe<std::optional<std::string>> probe("handBack");
    probe.onAnswer([this] { note("reply"); });
    service->handBack(probe.reply());
    EXPECT_FALSE(probe.isAnswered());
    queue.runReady();
    EXPECT_EQ(takeEffects(),
              restoreFans() + Trace({"[NOTICE] service: hold: released"}) + restoreFans() + Trace({"reply"}));
    EXPECT_EQ(probe.value(), std::nullopt);
    EXPECT_FALSE(isAnyManual());
    EXPECT_EQ(queue.liveTimers(), 0);
}

TEST_F(HelperServiceTest, HandBackWorksWithoutAHold) {
    makeService();
    controller.setNumber("F1Md", 1);
    takeTrace();
    EXPECT_EQ(handBack(), std::nullopt);
    EXPECT_EQ(takeTrace(), restoreFans());
    EXPECT_FALSE(isAnyManual());
}

TEST_F(HelperServiceTest, StandingDownRepliesAtOnceAndExitsAfterThreeTenthsOfASecond) {
    makeService();
    hold(0.5);
    takeTrace();
    standDown();
    EXPECT_EQ(takeTrace(), Trace({"[NOTICE] service: A newer Kelo asked us to stand down.", "reply"}));
    queue.runFor(0.299);
    EXPECT_THAT(takeTrace(), IsEmpty());
    EXPECT_TRUE(isAnyManual());
    queue.runFor(0.001);
    EXPECT_EQ(takeEffects(), Trace({"leave"}));
}

TEST_F(HelperServiceTest, StandingDownExitsEvenIfTheServiceIsDestroyed) {
    makeService();
    standDown();
    takeTrace();
    service.reset();
    queue.runFor(0.3);
    EXPECT_EQ(takeTrace(), Trace({"leave"}));
}

TEST_F(HelperServiceTest, StandingDownExitsEvenIfItCannotReply) {
    makeService();
    service->perform(requests::Call{
        requests::StandDown{}, requests::ReplyTo<requests::StandDown>([](const auto&) { throw std::bad_alloc(); })});
    takeTrace();
    queue.runFor(0.3);
    EXPECT_EQ(takeTrace(), Trace({"leave"}));
}

TEST_F(HelperServiceTest, StandingDownWithoutMemoryExitsAtOnceAndOnlyOnce) {
    FullQueue full(now);
    makeServiceOn(full);
    full.isFull = true;
    standDown();
    takeTrace();
    full.runReady();
    EXPECT_EQ(takeTrace(), Trace({"leave"}));
    standDown();
    takeTrace();
    full.runReady();
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(HelperServiceTest, ShuttingDownWithoutAHoldHandsTheFansBackEachTime) {
    makeService();
    takeTrace();
    service->shutdownNow();
    service->shutdownNow();
    const auto once = restoreFans() + Trace({"[NOTICE] service: Handed the fan back on the way out."});
    EXPECT_EQ(takeTrace(), once + once);
}

TEST_F(HelperServiceTest, ShuttingDownEndsTheHoldInEveryState) {
    const std::pair<const char*, std::function<void()>> states[] = {
        {"engaged", [] {}},
        {"yielded", [this] { clamshell.state = true, queue.runFor(2); }},
        {"asleep", [this] { power.send(willSleep, 7); }},
        {"interfered with", [this] { controller.setNumber("F0Md", 0); }},
        {"orphaned", [this] { service->clientWentAway(), queue.runFor(3); }},
    };
    for (const auto& [name, enter] : states) {
        clamshell.state = false;
        makeService();
        service->clientArrived();
        hold(0.5, true);
        enter();
        takeTrace();
        service->shutdownNow();
        EXPECT_EQ(takeLogs(),
                  Trace({"[NOTICE] service: hold: released", "[NOTICE] service: Handed the fan back on the way out."}))
            << name;
        EXPECT_FALSE(isAnyManual()) << name;
        service.reset();
        queue.runFor(60);
        EXPECT_FALSE(isAnyManual()) << name;
    }
}

} // namespace
} // namespace kelo
