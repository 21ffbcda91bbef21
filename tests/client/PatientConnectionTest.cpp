#include "client/PatientConnection.h"

#include <gmock/gmock.h>

#include "tests/client/ScriptedFans.h"
#include "tests/client/ScriptedTerminal.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

class PatientConnectionTest : public ::testing::Test {
protected:
    PatientConnectionTest() { terminal.catchesStopSignals = true; }
    ~PatientConnectionTest() override { surroundings.fans->dropKept(); }

    /// From now on the helper accepts requests but does not answer. `woken` returns the result of each one-second wait.
    void fallSilent(const std::function<Woken()>& woken = [] { return Woken::byTime; }) {
        surroundings.fans->keepReplies();
        terminal.onSilence = [this, woken] {
            surroundings.fans->waitForKept(1);
            return woken();
        };
    }

    ScriptedSurroundings surroundings;
    ScriptedTerminal terminal;
    /// The callbacks so far, each with the seconds since the start.
    std::vector<std::pair<std::string, double>> notices;
    std::function<void()> note(const std::string& notice) {
        return [this, notice] { notices.emplace_back(notice, terminal.seconds - 1000); };
    }
    PatientConnection helper{
        surroundings.all.connect, terminal, {.onSilence = note("silence"), .onChange = note("change")}};
};

TEST_F(PatientConnectionTest, SendsRequestsOverOneConnectionAndReturnsReplies) {
    EXPECT_EQ(helper.ask(requests::HelperVersion{}), 6);
    EXPECT_EQ(helper.ask(requests::Hold{0.25, true}), std::nullopt);
    EXPECT_EQ(helper.ask(requests::FetchSnapshot{}), surroundings.fans->current().encoded());
    EXPECT_EQ(helper.ask(requests::HandBack{}), std::nullopt);
    helper.ask(requests::StandDown{});
    EXPECT_THAT(surroundings.fans->requests(),
                ElementsAre("helperVersion", "hold", "fetchSnapshot", "handBack", "standDown"));
    EXPECT_EQ(surroundings.connections, 1);
    EXPECT_THAT(notices, ElementsAre());
}

TEST_F(PatientConnectionTest, ReleasesTheRequestsResourcesBeforeItReturns) {
    const auto used = std::make_shared<int>();
    PatientConnection counted{[used, connect = surroundings.all.connect] { return connect(); }, terminal, {}};
    const auto owners = used.use_count();
    for (int i = 0; i < 2000; ++i) { // a single late release might go unnoticed
        counted.ask(requests::HelperVersion{});
        ASSERT_EQ(used.use_count(), owners) << i;
    }
}

TEST_F(PatientConnectionTest, ReconnectsAfterTheHelperHasExited) {
    helper.ask(requests::HelperVersion{});
    surroundings.isHelperRunning = false;
    EXPECT_THROW(helper.ask(requests::HelperVersion{}), HelperUnreachable);
    EXPECT_THROW(helper.ask(requests::HelperVersion{}), HelperUnreachable);
    surroundings.isHelperRunning = true;
    EXPECT_EQ(helper.ask(requests::HelperVersion{}), 6);
    EXPECT_EQ(surroundings.connections, 3);
}

TEST_F(PatientConnectionTest, NotifiesEachSecondAndTimesOutAfterAMinute) {
    fallSilent();
    EXPECT_THROW(helper.ask(requests::HandBack{}), HelperSilent);
    ASSERT_EQ(notices.size(), 59U);
    EXPECT_THAT(std::vector(notices.begin(), notices.begin() + 4),
                ElementsAre(Pair("silence", 2), Pair("change", 2), Pair("change", 3), Pair("change", 4)));
    EXPECT_EQ(terminal.seconds, 1060);
}

TEST_F(PatientConnectionTest, TimesOutSoonerOnceTheUserAsksToStop) {
    fallSilent([&] { return terminal.seconds == 1004 ? Woken::byStop : Woken::byTime; });
    EXPECT_THROW(helper.ask(requests::HandBack{}), HelperSilent);
    EXPECT_EQ(terminal.seconds, 1009);
    EXPECT_THROW(helper.ask(requests::HandBack{}), HelperSilent);
    surroundings.fans->waitForKept(2);
    EXPECT_EQ(terminal.seconds, 1014) << "each later request has the same timeout";
}

TEST_F(PatientConnectionTest, NotifiesAtOnceWhenTheScreenIsResized) {
    fallSilent([&] { return terminal.seconds == 1002 ? Woken::byResize : Woken::byTime; });
    EXPECT_THROW(helper.ask(requests::HandBack{}), HelperSilent);
    EXPECT_THAT(notices.front(), Pair("change", 2));
}

TEST_F(PatientConnectionTest, NextRequestAfterATimeoutUsesANewConnection) {
    fallSilent();
    EXPECT_THROW(helper.ask(requests::HandBack{}), HelperSilent);
    surroundings.fans->answer = [](const std::function<void()>& reply) { reply(); };
    terminal.onSilence = nullptr;
    EXPECT_EQ(helper.ask(requests::HelperVersion{}), 6);
    EXPECT_EQ(surroundings.connections, 2);
}

} // namespace
} // namespace kelo
