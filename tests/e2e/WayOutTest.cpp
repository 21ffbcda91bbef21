#include <csignal>
#include <cstring>

#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::Contains;
using ::testing::Not;

const char* const askedToStop = "[NOTICE] listener: Asked to stop.";
const char* const deletedOrMoved = "[NOTICE] listener: Our binary was deleted or moved. Handing the fan back and "
                                   "leaving for the new helper.";
const char* const released = "[NOTICE] service: hold: released";
const char* const onTheWayOut = "[NOTICE] service: Handed the fan back on the way out.";

/// The last `count` lines of a log.
Lines tail(const Lines& log, std::size_t count) {
    return {log.end() - static_cast<std::ptrdiff_t>(std::min(count, log.size())), log.end()};
}

// --- signals, in every state

enum class State { idle, holding, yielded, asleep, grace, unlocking };

const char* nameOf(State state) {
    const char* const names[] = {"Idle", "Holding", "Yielded", "Asleep", "Grace", "Unlocking"};
    return names[static_cast<int>(state)];
}

void PrintTo(State state, std::ostream* out) { *out << nameOf(state); } // NOLINT(readability-identifier-naming)

class StopSignal : public EndToEnd, public ::testing::WithParamInterface<std::tuple<State, int>> {
protected:
    void enter(State state) {
        startEverything({"--profile", state == State::unlocking ? "refusing" : "laptop"});
        if (state == State::idle)
            return;
        if (state == State::unlocking) {
            raw = connectRawClient();
            raw->request(requests::Hold{0.5, false});
            ASSERT_TRUE(waitForWrite("Ftst", 1));
            return;
        }
        client = startHold("0.5", {"--hand-back-on-lid-close"});
        EXPECT_TRUE(installation.isAnyFanManual());
        if (state == State::yielded) {
            installation.simmac({"lid", "close"});
            ASSERT_TRUE(installation.waitForLog("[NOTICE] service: hold: yielded"));
        } else if (state == State::asleep) {
            installation.simmac({"sleep"});
            ASSERT_TRUE(installation.waitForLog("[NOTICE] service: hold: sleeping"));
        } else if (state == State::grace) {
            client->signal(SIGKILL);
            ASSERT_TRUE(installation.waitForLog(disconnected));
            EXPECT_TRUE(installation.isAnyFanManual());
        }
    }

    std::unique_ptr<ChildProcess> client;
    std::unique_ptr<RawClient> raw;
};

TEST_P(StopSignal, HandsBackAndExitsWithStatusZero) {
    const auto& [state, signal] = GetParam();
    enter(state);
    installation.helper().signal(signal);
    expectGoodEnd();
    const bool isHolding = state != State::idle && state != State::unlocking;
    EXPECT_EQ(tail(installation.helperLog(), isHolding ? 3 : 2),
              isHolding ? Lines({askedToStop, released, onTheWayOut}) : Lines({askedToStop, onTheWayOut}));
}

std::string nameOfCase(const ::testing::TestParamInfo<std::tuple<State, int>>& info) {
    const auto& [state, signal] = info.param;
    return std::string(nameOf(state)) + "SIG" + sigabbrev_np(signal);
}

INSTANTIATE_TEST_SUITE_P(InEveryState, StopSignal,
                         ::testing::Combine(::testing::Values(State::idle, State::holding, State::yielded,
                                                              State::asleep, State::grace, State::unlocking),
                                            ::testing::Values(SIGTERM, SIGINT)),
                         nameOfCase);
INSTANTIATE_TEST_SUITE_P(OfEveryKind, StopSignal,
                         ::testing::Combine(::testing::Values(State::holding),
                                            ::testing::Values(SIGHUP, SIGQUIT, SIGXCPU, SIGUSR1, SIGUSR2, SIGALRM)),
                         nameOfCase);

// --- signals, in numbers and unheard

class StopSignals : public EndToEnd {
protected:
    /// The helper was stopped once, whatever came later.
    void expectOneEnd(const Lines& end) {
        expectGoodEnd();
        const auto log = installation.helperLog();
        EXPECT_EQ(tail(log, end.size()), end);
        EXPECT_EQ(std::count(log.begin(), log.end(), askedToStop), 1);
    }
};

TEST_F(StopSignals, SeveralThatWaitForTheMainThreadEndTheHelperOnce) {
    startEverything({"--profile", "refusing"});
    const auto client = connectRawClient();
    client->request(requests::Hold{0.5, false});
    ASSERT_TRUE(waitForWrite("Ftst", 1)); // the main thread is in an unlock, and will be for four seconds
    for (const int signal : {SIGTERM, SIGINT, SIGTERM})
        installation.helper().signal(signal);
    expectOneEnd({askedToStop, onTheWayOut});
}

TEST_F(StopSignals, OneThatArrivesDuringTheStartIsNotLost) {
    installation.startMac();
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr); // the helper inherits this: the signal waits for it
    installation.startHelper();
    installation.helper().signal(SIGTERM);
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    expectOneEnd({askedToStop, onTheWayOut});
}

TEST_F(StopSignals, TheSignalsOfATerminalAndOfAFullFileDoNotDisturbAHold) {
    startEverything();
    const auto client = startHold();
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGTTOU, SIGTTIN, SIGTSTP}) {
        installation.helper().signal(signal);
        EXPECT_EQ(installation.run("kelo", {"version"}).status, 0) << sigabbrev_np(signal);
    }
    EXPECT_TRUE(installation.isAnyFanManual());
    installation.helper().signal(SIGTERM);
    expectGoodEnd();
}

TEST_F(StopSignals, AnotherOneOnTheWayOutChangesNothing) {
    startEverything();
    const auto client = startHold();
    installation.simmac({"fault", "slow", "0.1"}); // two hand-backs of three writes take more than a second
    installation.helper().signal(SIGTERM);
    ASSERT_TRUE(installation.waitForLog(askedToStop));
    for (const int signal : {SIGTERM, SIGINT})
        installation.helper().signal(signal);
    EXPECT_THAT(installation.helperLog(), Not(Contains(onTheWayOut))) << "they came too late to prove anything";
    expectOneEnd({askedToStop, released, onTheWayOut});
}

// --- the executable

class Executable : public EndToEnd {
protected:
    Executable() {
        startEverything();
        client = startHold();
    }

    const std::filesystem::path executable = installation.program(Installation::helperName);
    std::unique_ptr<ChildProcess> client;
};

TEST_F(Executable, TouchedItStays) {
    std::filesystem::last_write_time(executable, std::filesystem::file_time_type::clock::now());
    std::filesystem::permissions(executable, std::filesystem::perms::owner_all);
    // A snapshot is taken by the main loop, which takes its file events in turn with its requests: by its second answer
    // it has seen every event from before the first question.
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(installation.run("kelo", {"status"}).status, 0);
    EXPECT_EQ(installation.helper().status(), std::nullopt);
    EXPECT_THAT(installation.helperLog(), Not(Contains(deletedOrMoved)));
    EXPECT_TRUE(installation.isAnyFanManual());
}

TEST_F(Executable, ReplacedItLeavesAndTheNewHelperServes) {
    std::filesystem::copy_file(executable, installation.program("new"));
    std::filesystem::rename(installation.program("new"), executable);
    expectGoodEnd();
    EXPECT_EQ(tail(installation.helperLog(), 3), Lines({deletedOrMoved, released, onTheWayOut}));
    installation.startListeningHelper();
    EXPECT_EQ(installation.run("kelo", {"version"}).status, 0);
    EXPECT_TRUE(waitUntil([&] { return installation.isAnyFanManual(); }, 10)) << "the client asks again";
}

/// No event tells the file that its folder is moved.
TEST_F(Executable, MovedWithItsFolderItNoticesByItselfAndLeaves) {
    const auto moved = folder.path().string() + ".moved";
    std::filesystem::rename(folder.path(), moved);
    std::filesystem::create_directories(folder / "logs");
    std::filesystem::copy_file(moved + "/" + Installation::helperName, executable);
    EXPECT_EQ(installation.helper().waitForEnd(10), 0);
    std::filesystem::remove_all(folder.path());
    std::filesystem::rename(moved, folder.path());
    EXPECT_EQ(tail(installation.helperLog(), 3), Lines({deletedOrMoved, released, onTheWayOut}));
    EXPECT_FALSE(installation.isAnyFanManual());
}

// --- standing down

class StandDown : public EndToEnd {};

TEST_F(StandDown, TheReplyComesFirstAndTheFanIsHandedBack) {
    startEverything();
    const auto client = startHold();
    EXPECT_EQ(installation.run("kelo", {"stand-down"}).status, 0);
    expectGoodEnd();
    const auto log = installation.helperLog();
    EXPECT_THAT(log, Contains("[NOTICE] service: A newer Kelo asked us to stand down."));
    EXPECT_EQ(tail(log, 2), Lines({released, onTheWayOut}));
    client->signal(SIGINT); // until then it waits for the next helper
    EXPECT_EQ(client->waitForEnd(10), 3);
}

TEST_F(StandDown, AnswersAndVersionsComeAtOnceWhileTheMainThreadIsInAnUnlock) {
    startEverything({"--profile", "refusing"});
    // Both are admitted beforehand: within the four seconds of the unlock there is no more to do than to ask.
    const auto holding = connectRawClient();
    const auto asking = connectRawClient();
    EXPECT_EQ(holding->ask(requests::HelperVersion{}), 6);
    EXPECT_EQ(asking->ask(requests::HelperVersion{}), 6);
    holding->request(requests::Hold{0.5, false});
    ASSERT_TRUE(waitForWrite("Ftst", 1));
    EXPECT_EQ(asking->ask(requests::HelperVersion{}), 6);
    EXPECT_EQ(asking->ask(requests::StandDown{}), requests::Nothing{});
    EXPECT_EQ(countWrites("Ftst", 0), 0); // the unlock switch is still on: both answers came during the unlock
    EXPECT_EQ(installation.helper().status(), std::nullopt);
    EXPECT_THAT(installation.helperLog(), Not(Contains(onTheWayOut)));
    EXPECT_EQ(holding->reply<requests::Hold>(),
              "This Mac refused to hand over the fan (code 0x82). It usually means the system is "
              "managing cooling itself right now.");
    expectGoodEnd();
}

} // namespace
} // namespace kelo
