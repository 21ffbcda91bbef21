#include "helper/HelperService.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>

#include "protocol/FanSnapshot.h"
#include "testing/ServiceFixture.h"

namespace kelo {
namespace {

class HelperServiceRepliesTest : public ServiceFixture {};

const char* const noFansText = "This Mac has no controllable fan.";

TEST_F(HelperServiceRepliesTest, AnswersQueuedRequestsAfterItsDestruction) {
    makeService();
    ReplyProbe<std::optional<Data>> snapshot("fetchSnapshot");
    ReplyProbe<std::optional<std::string>> hold("hold");
    ReplyProbe<std::optional<std::string>> handBack("handBack");
    ReplyProbe<requests::Nothing> standDown("standDown");
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

class EveryStateTest : public ServiceFixture {
protected:
    struct Situation {
        const char* name;
        std::function<void()> enter; ///< Called after one client has started a hold that hands back on lid close.
        std::function<bool()> isEntered;
        bool canHold = true;
    };

    std::vector<Situation> situations() {
        return {
            {"idle", [this] { handBack(); }, [this] { return queue.liveTimers() == 0 && !isAnyManual(); }},
            {"engaged", [] {}, [this] { return queue.liveTimers() == 1 && isManual(0) && isManual(1); }},
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
    /// Lets another program take a fan, then runs the hold's repair.
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

TEST_F(EveryStateTest, AnswersEveryRequestOnce) {
    for (const auto& situation : situations())
        for (const auto& [request, make] : requests()) {
            SCOPED_TRACE(std::string(request) + ", " + situation.name);
            startAndHold();
            situation.enter();
            EXPECT_TRUE(situation.isEntered());
            make(situation);
            queue.runFor(0.3); // long enough for a second answer or for the exit after a stand-down
            service.reset();
        }
}

TEST_F(HelperServiceRepliesTest, PerformsRequestsInOrder) {
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
