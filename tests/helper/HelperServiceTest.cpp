#include "helper/HelperService.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>

#include "protocol/FanSnapshot.h"
#include "tests/helper/ServiceFixture.h"

namespace kelo {
namespace {

using ::testing::IsEmpty;
using DataReply = KeloHelperProtocol::DataReply;
using ErrorReply = KeloHelperProtocol::ErrorReply;

class HelperServiceTest : public ServiceFixture {};

const char* const noFansText = "This Mac has no controllable fan.";

// --- creation

TEST_F(HelperServiceTest, StartingCountsTheFansAndLogsNothing) {
    makeService();
    EXPECT_EQ(takeTrace(), Trace({"FNum?"}));
}

TEST_F(HelperServiceTest, WithoutAControllerItSaysSoAndRefusesEveryRequest) {
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

TEST_F(HelperServiceTest, WithoutFansItSaysTheSame) {
    controller.setNumber("FNum", 0);
    makeService();
    EXPECT_EQ(takeTrace().back(),
              "[ERROR] service: No controllable fan on this Mac — the helper will refuse every request.");
    EXPECT_EQ(hold(0.5), noFansText);
}

// --- version

TEST_F(HelperServiceTest, TheVersionIsAnsweredAtOnceWithoutTheMainQueue) {
    makeService();
    ReplyProbe<std::int64_t> probe;
    service->helperVersion(probe.reply());
    EXPECT_TRUE(probe.isAnswered());
    EXPECT_EQ(probe.value(), 6);
}

// --- snapshot

TEST_F(HelperServiceTest, ASnapshotIsTakenOnTheMainQueue) {
    makeService();
    takeTrace();
    ReplyProbe<std::optional<Data>> probe;
    service->fetchSnapshot(probe.reply());
    EXPECT_FALSE(probe.isAnswered());
    EXPECT_THAT(takeTrace(), IsEmpty());
    queue.runReady();
    EXPECT_TRUE(probe.isAnswered());
}

TEST_F(HelperServiceTest, ASnapshotReadsTheFansThenTheWarmthThenTheChip) {
    makeService();
    takeTrace();
    snapshot();
    EXPECT_EQ(takeTrace(), readFans() + Trace({"Tp09?", "Tp09?"}));
}

TEST_F(HelperServiceTest, ASnapshotHoldsTheReadings) {
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

TEST_F(HelperServiceTest, TheFastestFanIsReportedAndTheFirstOfEquallyFastOnes) {
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

TEST_F(HelperServiceTest, OneManualFanIsUnderControlWhicheverItIs) {
    makeService();
    EXPECT_FALSE(snapshot().underKeloControl);
    controller.setNumber("F1Md", 1);
    EXPECT_TRUE(snapshot().underKeloControl);
    controller.setNumber("F1Md", 0);
    controller.setNumber("F0Md", 1);
    EXPECT_TRUE(snapshot().underKeloControl);
}

TEST_F(HelperServiceTest, WarmthIsItsText) {
    makeService();
    for (const auto& [celsius, text] : {std::pair(45, "cool"), std::pair(60, "warm"), std::pair(80, "hot")}) {
        setChip(celsius);
        EXPECT_EQ(snapshot().warmth, text);
    }
}

TEST_F(HelperServiceTest, WithoutAChipReadingTheSnapshotHasNone) {
    makeService();
    controller.remove("Tp09");
    EXPECT_EQ(snapshot().chipCelsius, std::nullopt);
    EXPECT_EQ(snapshot().warmth, "cool");
}

TEST_F(HelperServiceTest, WithNoUsableFanTheSnapshotIsEmptyButForWarmthAndChip) {
    makeService();
    EXPECT_EQ(hold(0.5, true), std::nullopt);
    clamshell.state = true;
    queue.runFor(2);
    controller.remove("F0Ac");
    controller.remove("F1Ac");
    setChip(85);
    EXPECT_EQ(snapshot(), (FanSnapshot{0, 0, 0, 0, 0, false, "hot", 85, false, false}));
}

TEST_F(HelperServiceTest, ASnapshotThatJSONCannotHoldIsNone) {
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

TEST_F(HelperServiceTest, TheSnapshotTellsThatAirIsAddedAndThatTheLidHasTheFan) {
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

// --- hold

TEST_F(HelperServiceTest, AHoldIsStartedOnTheMainQueueAndItsEventsAreLogged) {
    makeService();
    takeTrace();
    ReplyProbe<std::optional<std::string>> probe;
    probe.onAnswer([this] { note("reply"); });
    service->hold(0.5, false, probe.reply());
    EXPECT_THAT(takeTrace(), IsEmpty());
    queue.runReady();
    EXPECT_EQ(probe.value(), std::nullopt);
    EXPECT_EQ(takeEffects(),
              takeFans(0.5) + Trace({"[NOTICE] service: hold: engaged(fraction: 0.5, neededUnlock: false)", "reply"}));
}

TEST_F(HelperServiceTest, EachEventIsLoggedByItsText) {
    makeService();
    setChip(96);
    hold(0.3, true);
    controller.setNumber("F0Md", 0);
    queue.runFor(2);
    clamshell.state = true;
    queue.runFor(2);
    clamshell.state = false;
    queue.runFor(2);
    power.send(willSleep, 7);
    power.send(hasPoweredOn);
    setChip(-1000);
    queue.runFor(60);
    handBack();
    EXPECT_EQ(takeLogs(), Trace({"[NOTICE] service: hold: addingAir(fraction: 0.5)",
                                 "[NOTICE] service: hold: engaged(fraction: 0.3, neededUnlock: false)",
                                 "[NOTICE] service: hold: reasserted", "[NOTICE] service: hold: yielded",
                                 "[NOTICE] service: hold: resumed", "[NOTICE] service: hold: sleeping",
                                 "[NOTICE] service: hold: woke", "[NOTICE] service: hold: resumed",
                                 "[NOTICE] service: hold: backToAsked", "[NOTICE] service: hold: released"}));
}

TEST_F(HelperServiceTest, TheFractionReachesTheHoldUnchangedAndIsClampedThere) {
    makeService();
    EXPECT_EQ(hold(1.7), std::nullopt);
    EXPECT_EQ(controller.number("F0Tg"), 6000);
    EXPECT_EQ(hold(-3), std::nullopt);
    EXPECT_EQ(controller.number("F0Tg"), 1200);
    EXPECT_EQ(hold(std::numeric_limits<double>::infinity()), std::nullopt);
    EXPECT_EQ(controller.number("F0Tg"), 6000);
}

TEST_F(HelperServiceTest, ANewHoldStopsTheRunningOneFirst) {
    makeService();
    hold(0.5);
    takeTrace();
    EXPECT_EQ(hold(0.25), std::nullopt);
    EXPECT_EQ(takeEffects(), restoreFans() + Trace({"[NOTICE] service: hold: released"}) + takeFans(0.25) +
                                 Trace({"[NOTICE] service: hold: engaged(fraction: 0.25, neededUnlock: false)"}));
    queue.runFor(60);
    EXPECT_THAT(takeEffects(), IsEmpty()); // the old hold does not tick any more
    EXPECT_EQ(queue.liveTimers(), 1);
    EXPECT_EQ(power.registered(), 1U);
}

TEST_F(HelperServiceTest, ANewHoldWhileTheLidHasTheFanYieldsLikeTheOldOne) {
    makeService();
    hold(0.5, true);
    clamshell.state = true;
    queue.runFor(2);
    takeTrace();
    EXPECT_EQ(hold(0.25, true), std::nullopt);
    EXPECT_EQ(takeEffects(),
              restoreFans() + Trace({"[NOTICE] service: hold: released", "[NOTICE] service: hold: yielded"}));
    clamshell.state = false;
    queue.runFor(2);
    EXPECT_EQ(takeEffects(), takeFans(0.25) + Trace({"[NOTICE] service: hold: resumed"}));
    EXPECT_EQ(queue.liveTimers(), 1);
    EXPECT_EQ(power.registered(), 1U);
}

TEST_F(HelperServiceTest, ANewHoldThatIgnoresTheLidTakesTheFansFromIt) {
    makeService();
    hold(0.5, true);
    clamshell.state = true;
    queue.runFor(2);
    takeTrace();
    EXPECT_EQ(hold(0.25, false), std::nullopt);
    EXPECT_EQ(takeEffects(), restoreFans() + Trace({"[NOTICE] service: hold: released"}) + takeFans(0.25) +
                                 Trace({"[NOTICE] service: hold: engaged(fraction: 0.25, neededUnlock: false)"}));
    EXPECT_FALSE(snapshot().lidHasFan);
}

TEST_F(HelperServiceTest, ANewHoldInPlaceOfOneThatIsAsleepKnowsOfNoSleep) {
    makeService();
    hold(0.5);
    power.send(willSleep, 7);
    takeTrace();
    EXPECT_EQ(hold(0.25), std::nullopt);
    EXPECT_EQ(takeEffects(), restoreFans() + Trace({"[NOTICE] service: hold: released"}) + takeFans(0.25) +
                                 Trace({"[NOTICE] service: hold: engaged(fraction: 0.25, neededUnlock: false)"}));
    EXPECT_EQ(power.registered(), 1U); // it hears of the next sleep, and of the wake
    power.send(hasPoweredOn);
    EXPECT_EQ(takeEffects(), Trace({"[NOTICE] service: hold: woke"}));
    power.send(willSleep, 8);
    EXPECT_EQ(takeEffects(), restoreFans() + Trace({"[NOTICE] service: hold: sleeping", "allow 8"}));
}

TEST_F(HelperServiceTest, AHoldThatCannotStartRepliesTheErrorAndLogsNothing) {
    makeService();
    const struct {
        const char* key;
        const char* text;
    } failures[] = {
        {"F1Tg", "The fan speed wasn't accepted (code 0x84)."},
        {"F1Md", "This Mac refused to hand over the fan (code 0x84). It usually means the system is managing cooling "
                 "itself right now."},
    };
    for (const auto& [key, text] : failures) {
        controller.clearFaults();
        controller.answer(key, SMCCommand::writeBytes, 0x84);
        takeTrace();
        EXPECT_EQ(hold(0.5), text);
        EXPECT_THAT(takeLogs(), IsEmpty());
    }
    controller.clearFaults();
    rights.root = false;
    EXPECT_EQ(hold(0.5), "Changing fan speed needs administrator rights. Run this with sudo.");
}

TEST_F(HelperServiceTest, AHoldThatCannotStartLeavesNoFanTakenAndNoHold) {
    makeService();
    controller.answer("F1Tg", SMCCommand::writeBytes, 0x84);
    EXPECT_NE(hold(0.5), std::nullopt);
    EXPECT_FALSE(isAnyManual());
    EXPECT_EQ(queue.liveTimers(), 0);
    EXPECT_EQ(power.registered(), 0U);
}

TEST_F(HelperServiceTest, AHoldThatTheSystemIsOutOfSomethingForIsRefusedLikewise) {
    makeService();
    power.isThrowing = true;
    EXPECT_EQ(hold(0.5), "out of ports");
    EXPECT_FALSE(isAnyManual());
    power.isThrowing = false;
    EXPECT_EQ(hold(0.5), std::nullopt);
    EXPECT_TRUE(isAnyManual());
}

TEST_F(HelperServiceTest, AFailingHoldReplacesAGoodOneAndLeavesTheFansWhereTheGoodOneLeftThem) {
    makeService();
    setChip(96);
    hold(0.3, true);
    EXPECT_TRUE(snapshot().addingAir);
    controller.answer("F0Tg", SMCCommand::writeBytes, 0x84);
    takeTrace();
    EXPECT_NE(hold(0.3, true), std::nullopt);
    EXPECT_EQ(takeLogs(),
              Trace({"[NOTICE] service: hold: released", "[NOTICE] service: hold: addingAir(fraction: 0.5)"}));
    EXPECT_FALSE(isAnyManual());
    EXPECT_FALSE(snapshot().addingAir);
    EXPECT_FALSE(snapshot().lidHasFan);
    queue.runFor(60);
    EXPECT_THAT(takeEffects(), IsEmpty());
}

TEST_F(HelperServiceTest, AFailedUnlockLeavesTheSwitchOff) {
    makeService();
    controller.setUnlockRule({true, 1e9});
    EXPECT_NE(hold(0.5), std::nullopt);
    EXPECT_EQ(controller.number("Ftst"), 0);
}

TEST_F(HelperServiceTest, AHoldWithTheLidClosedSucceedsAndYields) {
    makeService();
    clamshell.state = true;
    takeTrace();
    EXPECT_EQ(hold(0.5, true), std::nullopt);
    EXPECT_EQ(takeEffects(), Trace({"[NOTICE] service: hold: yielded"}));
    EXPECT_TRUE(snapshot().lidHasFan);
}

// --- hand-back

TEST_F(HelperServiceTest, HandingBackEndsTheHoldHandsBackAgainAndReplies) {
    makeService();
    hold(0.5);
    takeTrace();
    EXPECT_EQ(handBack(), std::nullopt);
    EXPECT_EQ(takeEffects(), restoreFans() + Trace({"[NOTICE] service: hold: released"}) + restoreFans());
    EXPECT_FALSE(isAnyManual());
    EXPECT_EQ(queue.liveTimers(), 0);
}

TEST_F(HelperServiceTest, HandingBackWithoutAHoldHandsBackAllTheSame) {
    makeService();
    controller.setNumber("F1Md", 1);
    takeTrace();
    EXPECT_EQ(handBack(), std::nullopt);
    EXPECT_EQ(takeTrace(), restoreFans());
    EXPECT_FALSE(isAnyManual());
}

// --- clients that have gone

TEST_F(HelperServiceTest, AHoldWhoseClientHasGoneIsNotBegunButAnswered) {
    makeService();
    takeTrace();
    bool isThere = true;
    ReplyProbe<std::optional<std::string>> first("hold");
    ReplyProbe<std::optional<std::string>> second("hold");
    for (auto* const probe : {&first, &second})
        service->hold(0.5, false, ErrorReply(probe->reply(), [&] { return isThere; }));
    first.onAnswer([&] { isThere = false; }); // while the first is being begun
    queue.runReady();
    EXPECT_EQ(first.value(), std::nullopt);
    EXPECT_TRUE(second.isAnswered());
    EXPECT_EQ(takeEffects(), takeFans(0.5) + Trace({"[NOTICE] service: hold: engaged(fraction: 0.5, neededUnlock: "
                                                    "false)"}));
}

TEST_F(HelperServiceTest, AClientThatHasGoneGetsNoSnapshotButItsFansBack) {
    makeService();
    hold(0.5);
    takeTrace();
    ReplyProbe<std::optional<Data>> snapshot("fetchSnapshot");
    ReplyProbe<std::optional<std::string>> handBack("handBack");
    const auto gone = [] { return false; };
    service->fetchSnapshot(DataReply(snapshot.reply(), gone));
    service->handBack(ErrorReply(handBack.reply(), gone));
    queue.runReady();
    EXPECT_EQ(snapshot.value(), std::nullopt);
    EXPECT_TRUE(handBack.isAnswered());
    EXPECT_FALSE(isAnyManual());
}

// --- stand-down

TEST_F(HelperServiceTest, StandingDownRepliesAtOnceAndLeavesThreeTenthsLater) {
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

TEST_F(HelperServiceTest, StandingDownLeavesAlsoWhenTheServiceIsGone) {
    makeService();
    standDown();
    takeTrace();
    service.reset();
    queue.runFor(0.3);
    EXPECT_EQ(takeTrace(), Trace({"leave"}));
}

// --- shutdown

TEST_F(HelperServiceTest, ShuttingDownWithNothingRunningHandsBackAndSaysSoEachTime) {
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

// --- one reply per request, whatever happens to the service

TEST_F(HelperServiceTest, EveryRequestInTheQueueIsAnsweredWhenTheServiceIsGone) {
    makeService();
    ReplyProbe<std::optional<Data>> snapshot("fetchSnapshot");
    ReplyProbe<std::optional<std::string>> hold("hold");
    ReplyProbe<std::optional<std::string>> handBack("handBack");
    ReplyProbe<> standDown("standDown");
    service->fetchSnapshot(snapshot.reply());
    service->hold(0.5, true, hold.reply());
    service->handBack(handBack.reply());
    service->standDown(standDown.reply());
    service->clientArrived();
    service->clientWentAway();
    service.reset();
    takeTrace();
    queue.runFor(10);
    EXPECT_EQ(snapshot.value(), std::nullopt);
    EXPECT_EQ(hold.value(), noFansText);
    EXPECT_EQ(handBack.value(), std::nullopt);
    EXPECT_EQ(takeTrace(), Trace({"leave"}));
}

/// What a request may find, and whatever it finds, it is answered once.
class EveryStateTest : public ServiceFixture {
protected:
    struct Situation {
        const char* name;
        std::function<void()> enter; ///< From a fresh hold of one client, which hands back on lid close.
        std::function<bool()> isEntered;
        bool canHold = true; ///< Whether a new hold can start.
    };

    std::vector<Situation> situations() {
        return {
            {"idle", [this] { handBack(); }, [this] { return power.registered() == 0 && !isAnyManual(); }},
            {"engaged", [] {}, [this] { return power.registered() == 1 && isManual(0) && isManual(1); }},
            {"yielded", [this] { clamshell.state = true, tick(); }, [this] { return hasLogged("hold: yielded"); }},
            {"asleep", [this] { power.send(willSleep, 7); }, [this] { return hasLogged("hold: sleeping"); }},
            {"woken", [this] { power.send(willSleep, 7), power.send(hasPoweredOn); },
             [this] { return hasLogged("hold: woke") && hasLogged("hold: resumed") && isManual(0); }},
            {"orphaned", [this] { leave(), tick(); },
             [this] { return hasLogged("Last client disconnected; handing the fan back shortly."); }},
            {"refused", [this] { controller.answer("F0Md", SMCCommand::writeBytes, 0x84), loseFan(); },
             [this] { return hasLogged("hold: reasserted") && !isManual(0); }, false},
            {"without rights", [this] { rights.root = false, loseFan(); },
             [this] { return hasLogged("hold: reasserted") && !isManual(0); }, false},
            {"unanswered", [this] { controller.answer(std::nullopt, std::nullopt, 0x84); },
             [this] { return snapshot().fanCount == 0; }},
        };
    }

    /// Each checks that it is answered once, and how.
    std::vector<std::pair<const char*, std::function<void(const Situation&)>>> requests() {
        return {
            {"helperVersion", [this](const Situation&) { EXPECT_EQ(helperVersion(), 6); }},
            {"fetchSnapshot", [this](const Situation&) { EXPECT_NE(fetchSnapshot(), std::nullopt); }},
            {"hold", [this](const Situation& found) { EXPECT_EQ(hold(0.25, true) == std::nullopt, found.canHold); }},
            {"handBack", [this](const Situation&) { EXPECT_EQ(handBack(), std::nullopt); }},
            {"standDown", [this](const Situation&) { standDown(); }},
        };
    }

    void startAndHold() {
        controller.clearFaults();
        rights.root = true;
        clamshell.state = false;
        makeService();
        arrive();
        EXPECT_EQ(hold(0.5, true), std::nullopt);
        takeTrace();
        logs_.clear();
    }

private:
    void tick() { queue.runFor(2); }
    /// Another program takes a fan, and the repair shows what has become of the hold.
    void loseFan() {
        controller.setNumber("F0Md", 0);
        tick();
    }
    bool hasLogged(const std::string& line) {
        logs_ = logs_ + takeLogs();
        return std::find(logs_.begin(), logs_.end(), "[NOTICE] service: " + line) != logs_.end();
    }

    Trace logs_;
};

TEST_F(EveryStateTest, EveryRequestIsAnsweredOnce) {
    for (const auto& situation : situations())
        for (const auto& [request, make] : requests()) {
            SCOPED_TRACE(std::string(request) + ", " + situation.name);
            startAndHold();
            situation.enter();
            EXPECT_TRUE(situation.isEntered());
            make(situation);
            queue.runFor(0.3); // a second answer would come by now, as does the end after a stand-down
            service.reset();
        }
}

TEST_F(HelperServiceTest, RequestsAreCarriedOutInTheirOrder) {
    makeService();
    takeTrace();
    Trace order;
    ReplyProbe<std::optional<std::string>> first("hold");
    ReplyProbe<std::optional<Data>> second("fetchSnapshot");
    ReplyProbe<std::optional<std::string>> third("handBack");
    first.onAnswer([&] { order.push_back("hold"); });
    second.onAnswer([&] { order.push_back("fetchSnapshot"); });
    third.onAnswer([&] { order.push_back("handBack"); });
    service->hold(0.5, false, first.reply());
    service->fetchSnapshot(second.reply());
    service->handBack(third.reply());
    queue.runReady();
    EXPECT_EQ(order, Trace({"hold", "fetchSnapshot", "handBack"}));
    EXPECT_TRUE(FanSnapshot::decoded(second.value().value()).underKeloControl);
    EXPECT_FALSE(isAnyManual());
}

} // namespace
} // namespace kelo
