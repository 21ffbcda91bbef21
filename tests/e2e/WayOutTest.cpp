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

// --- each signal

class StopSignal : public EndToEnd, public ::testing::WithParamInterface<int> {};

TEST_P(StopSignal, HandsTheFansBackAndExitsWithStatusZero) {
    startEverything();
    const auto client = startHold();
    EXPECT_TRUE(installation.isAnyFanManual());
    installation.helper().signal(GetParam());
    expectCleanExit();
    EXPECT_EQ(tail(installation.helperLog(), 3), Lines({askedToStop, released, onTheWayOut}));
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, StopSignal,
                         ::testing::Values(SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGXCPU, SIGUSR1, SIGUSR2, SIGALRM),
                         [](const auto& signal) { return std::string("SIG") + sigabbrev_np(signal.param); });

// --- several signals, and ignored ones

class StopSignals : public EndToEnd {
protected:
    /// Expects that the helper was stopped only once.
    void expectSingleStop(const Lines& end) {
        expectCleanExit();
        const auto log = installation.helperLog();
        EXPECT_EQ(tail(log, end.size()), end);
        EXPECT_EQ(std::count(log.begin(), log.end(), askedToStop), 1);
    }
};

TEST_F(StopSignals, SeveralPendingSignalsStopTheHelperOnce) {
    startEverything({"--profile", "refusing"});
    const auto client = connectRawClient();
    client->request(requests::Hold{0.5, false});
    ASSERT_TRUE(waitForWrite("Ftst", 1)); // the main thread is busy with an unlock for four seconds
    for (const int signal : {SIGTERM, SIGINT, SIGTERM})
        installation.helper().signal(signal);
    expectSingleStop({askedToStop, onTheWayOut});
}

TEST_F(StopSignals, SignalDuringStartUpIsNotLost) {
    installation.startMac();
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr); // the helper inherits the mask, so the signal stays pending
    installation.startHelper();
    installation.helper().signal(SIGTERM);
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    expectSingleStop({askedToStop, onTheWayOut});
}

TEST_F(StopSignals, TerminalAndFileSizeSignalsDoNotDisturbAHold) {
    startEverything();
    const auto client = startHold();
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGTTOU, SIGTTIN, SIGTSTP}) {
        installation.helper().signal(signal);
        EXPECT_EQ(installation.run("kelo", {"version"}).status, 0) << sigabbrev_np(signal);
    }
    EXPECT_TRUE(installation.isAnyFanManual());
    installation.helper().signal(SIGTERM);
    expectCleanExit();
}

TEST_F(StopSignals, SecondSignalDuringExitChangesNothing) {
    startEverything();
    const auto client = startHold();
    installation.simmac({"fault", "slow", "0.1"}); // two hand-backs of three writes take more than a second
    installation.helper().signal(SIGTERM);
    ASSERT_TRUE(installation.waitForLog(askedToStop));
    for (const int signal : {SIGTERM, SIGINT})
        installation.helper().signal(signal);
    EXPECT_THAT(installation.helperLog(), Not(Contains(onTheWayOut))) << "the signals were sent too late for this test";
    expectSingleStop({askedToStop, released, onTheWayOut});
}

// --- the executable

class ReplacedHelper : public EndToEnd {};

TEST_F(ReplacedHelper, HandsTheFansBackAndExitsAndTheNewHelperServesTheClient) {
    startEverything();
    const auto client = startHold();
    const auto executable = installation.program(Installation::helperName);
    std::filesystem::copy_file(executable, installation.program("new"));
    std::filesystem::rename(installation.program("new"), executable);
    expectCleanExit();
    EXPECT_EQ(tail(installation.helperLog(), 3), Lines({deletedOrMoved, released, onTheWayOut}));
    installation.startListeningHelper();
    EXPECT_EQ(installation.run("kelo", {"version"}).status, 0);
    EXPECT_TRUE(waitUntil([&] { return installation.isAnyFanManual(); }, 10)) << "the client requests the hold again";
}

} // namespace
} // namespace kelo
