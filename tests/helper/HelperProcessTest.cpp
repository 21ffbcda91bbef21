#include "helper/HelperProcess.h"

#include <gmock/gmock.h>

#include <csignal>
#include <functional>
#include <stdexcept>
#include <utility>

#include "testing/MachineFixture.h"
#include "testing/ReplyProbe.h"
#include "testing/ScriptedPlatform.h"

namespace kelo {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Optional;

const char* const requirement =
    R"(anchor apple generic and identifier "app.kelo.Kelo" and certificate leaf[subject.OU] = "ABCDE12345")";

const char* const deletedOrMoved =
    "Our binary was deleted or moved. Handing the fan back and leaving for the new helper.";

constexpr int stopSignalNumbers[] = {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGXCPU, SIGUSR1, SIGUSR2, SIGALRM};

Trace signalsDelivered() {
    Trace steps;
    for (const int signal : stopSignalNumbers)
        steps.push_back("deliver " + std::to_string(signal));
    return steps;
}

class HelperProcessTest : public MachineFixture {
protected:
    HelperProcessTest() {
        platform.onStep = [this](const std::string& step) { note(step); };
        platform.output.onMessage = [this](const std::string& message) {
            if (platform.isLogThrowing)
                throw std::runtime_error("standard error is broken");
            note(message);
        };
        platform.stopSignals.onStep = platform.onStep;
        platform.files.onStep = platform.onStep;
        platform.signing.onQuery = [this] { note("own team?"); };
    }

    void start() {
        process = std::make_unique<HelperProcess>(platform.platform());
        process->start();
    }
    std::unique_ptr<ScriptedConnection> startAndHold() {
        start();
        auto client = platform.listener->connect();
        ReplyProbe<std::optional<std::string>> probe("hold");
        client->object->perform(requests::Call{requests::Hold{0.5, false}, probe.reply()});
        queue.runReady();
        EXPECT_EQ(probe.value(), std::nullopt);
        EXPECT_TRUE(isAnyManual());
        takeTrace();
        return client;
    }

    /// The expected trace of an exit during a hold: the notice, then the hand-back.
    static Trace leaving(const std::string& notice) { return Trace({"[NOTICE] listener: " + notice}) + leaving(); }
    /// The expected trace of an exit during a hold without a notice.
    static Trace leaving() {
        return restoreFans() + Trace({"[NOTICE] service: hold: released"}) + restoreFans() +
               Trace({"[NOTICE] service: Handed the fan back on the way out.", "exit 0"});
    }

    ScriptedPlatform platform{machine};
    std::unique_ptr<HelperProcess> process;
};

TEST_F(HelperProcessTest, StartsInAFixedOrder) {
    start();
    EXPECT_EQ(takeTrace(),
              Trace({"FNum?", "own executable?", "watch " + *platform.files.executable, "listener for app.kelo.helper",
                     "listener: admission", "own team?", "listener: requirement " + std::string(requirement),
                     "[NOTICE] listener: Accepting only app.kelo.Kelo signed by ABCDE12345."}) +
                  signalsDelivered() + Trace({"listener: resume", "[NOTICE] listener: Listening on app.kelo.helper"}));
    EXPECT_THAT(platform.logCategories, ElementsAre("app.kelo.helper/listener", "app.kelo.helper/service"));
    EXPECT_EQ(platform.files.sources(), 1);
}

TEST_F(HelperProcessTest, DoesNotListenUntilAllStopSignalsAreDelivered) {
    platform.stopSignals.isReadyAtOnce = false;
    start();
    std::vector<bool> wasListening;
    do
        wasListening.push_back(platform.listener->isResumed);
    while (platform.stopSignals.becomeReady());
    EXPECT_TRUE(wasListening.back());
    wasListening.pop_back();
    EXPECT_THAT(wasListening, ::testing::AllOf(Not(IsEmpty()), Each(false)));
    EXPECT_EQ(takeTrace().back(), "[NOTICE] listener: Listening on app.kelo.helper");
}

TEST_F(HelperProcessTest, DoesNotListenIfUnsigned) {
    platform.signing.team.reset();
    start();
    EXPECT_EQ(takeTrace(),
              Trace({"FNum?", "own executable?", "watch " + *platform.files.executable, "listener for app.kelo.helper",
                     "listener: admission", "own team?",
                     "[ERROR] listener: This helper isn't signed, so there is no one it can safely trust."}) +
                  signalsDelivered());
    EXPECT_FALSE(platform.listener->isResumed);
    EXPECT_EQ(platform.listener->requirement, std::nullopt);
}

TEST_F(HelperProcessTest, DoesNotListenIfItsSignatureIsUnreadable) {
    platform.signing.isUnreadable = true;
    start();
    EXPECT_EQ(takeLogs(), Trace({"[ERROR] listener: Couldn't read our own signature, so there is no one we can safely "
                                 "trust: too many open files."}));
    EXPECT_FALSE(platform.listener->isResumed);
    EXPECT_TRUE(platform.stopSignals.send(SIGTERM));
    EXPECT_EQ(takeEffects().back(), "exit 0");
}

TEST_F(HelperProcessTest, HandsTheFansBackAndExitsOnAStopSignalIfUnsigned) {
    platform.signing.team.reset();
    start();
    controller.setNumber("F0Md", 1);
    takeTrace();
    EXPECT_TRUE(platform.stopSignals.send(SIGTERM));
    EXPECT_EQ(takeTrace(), Trace({"[NOTICE] listener: Asked to stop."}) + restoreFans() +
                               Trace({"[NOTICE] service: Handed the fan back on the way out.", "exit 0"}));
}

TEST_F(HelperProcessTest, ServesClientsIfItCannotFindItsExecutable) {
    platform.files.executable.reset();
    start();
    const auto trace = takeTrace();
    EXPECT_EQ(trace.at(1), "own executable?");
    EXPECT_EQ(trace.at(2), "[ERROR] listener: Couldn't find our own executable; an update won't replace this process "
                           "until restart.");
    EXPECT_EQ(trace.back(), "[NOTICE] listener: Listening on app.kelo.helper");
    EXPECT_EQ(platform.files.sources(), 0);
    process.reset();
    const auto client = startAndHold(); // connections are never refused
    queue.runFor(2);
    EXPECT_TRUE(isAnyManual());
}

TEST_F(HelperProcessTest, ExitsIfItCannotStart) {
    platform.missingLog = "service";
    start();
    EXPECT_EQ(takeTrace(), Trace({"[NOTICE] listener: Couldn't start; leaving.", "exit 0"}));
}

TEST_F(HelperProcessTest, ListensWithoutAController) {
    exchange.isPresent = false;
    start();
    const auto trace = takeTrace();
    EXPECT_EQ(trace.front(),
              "[ERROR] service: No controllable fan on this Mac — the helper will refuse every request.");
    EXPECT_EQ(trace.back(), "[NOTICE] listener: Listening on app.kelo.helper");
}

TEST_F(HelperProcessTest, HandsTheFansBackAndExitsOnEveryStopSignal) {
    for (const int signal : stopSignalNumbers) {
        const auto client = startAndHold();
        EXPECT_TRUE(platform.stopSignals.send(signal));
        EXPECT_EQ(takeEffects(), leaving("Asked to stop."));
        EXPECT_FALSE(isAnyManual());
        process.reset();
    }
}

TEST_F(HelperProcessTest, HandsTheFansBackAndExitsOnceWhenItsExecutableIsReplaced) {
    const auto client = startAndHold();
    platform.files.place(FileIdentity{1, 101});
    platform.files.send();
    EXPECT_EQ(takeEffects(), leaving(deletedOrMoved));
    platform.files.send();
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(HelperProcessTest, NextTickDetectsAReplacementThatCausedNoEvent) {
    const auto client = startAndHold();
    queue.runFor(2);
    EXPECT_THAT(takeEffects(), IsEmpty());
    platform.files.place(FileIdentity{1, 101});
    queue.runFor(2);
    EXPECT_EQ(takeTrace(), leaving(deletedOrMoved));
}

TEST_F(HelperProcessTest, NextConnectionDetectsAReplacementThatCausedNoEvent) {
    const auto client = startAndHold();
    platform.files.place(FileIdentity{1, 101});
    EXPECT_EQ(platform.listener->connect(), nullptr);
    queue.runReady();
    EXPECT_EQ(takeEffects(), leaving("Our binary was replaced on disk. Handing the fan back and leaving for the new "
                                     "helper."));
}

TEST_F(HelperProcessTest, StandingDownHandsTheFansBackAndExits) {
    const auto client = startAndHold();
    ReplyProbe<requests::Nothing> probe("standDown");
    client->object->perform(requests::Call{requests::StandDown{}, probe.reply()});
    EXPECT_TRUE(probe.isAnswered());
    takeTrace();
    queue.runFor(0.3);
    EXPECT_EQ(takeEffects().back(), "exit 0");
    EXPECT_FALSE(isAnyManual());
}

TEST_F(HelperProcessTest, DoesNotLogListeningIfTheListenerFails) {
    platform.canListen = false;
    start();
    const auto trace = takeTrace();
    EXPECT_EQ(trace.back(), "listener: resume");
    EXPECT_TRUE(platform.stopSignals.send(SIGTERM)); // the process is still running
    EXPECT_EQ(takeEffects().back(), "exit 0");
}

TEST_F(HelperProcessTest, CanBeStoppedWithoutAListener) {
    platform.isListenerMissing = true;
    start();
    EXPECT_THAT(takeTrace(),
                ::testing::Contains("[ERROR] listener: Couldn't create the listener, so no client can be served until "
                                    "restart: there is no room."));
    EXPECT_TRUE(platform.stopSignals.send(SIGTERM));
    EXPECT_EQ(takeEffects().back(), "exit 0");
}

TEST_F(HelperProcessTest, LogsSignalsThatCannotBeWatched) {
    platform.stopSignals.canDeliver = false;
    start();
    EXPECT_THAT(takeTrace(), ::testing::Contains("[ERROR] listener: Couldn't watch for signal 15; it will end this "
                                                 "process without handing the fan back."));
    EXPECT_TRUE(platform.listener->isResumed);
}

TEST_F(HelperProcessTest, HandsTheFansBackAndExitsEvenIfBothLogsThrow) {
    const std::pair<const char*, std::function<void(ScriptedConnection&)>> exits[] = {
        {"a signal", [this](auto&) { platform.stopSignals.send(SIGTERM); }},
        {"the executable replaced",
         [this](auto&) {
             platform.files.place(FileIdentity{1, 101});
             platform.files.send();
         }},
        {"a connection to a replaced executable",
         [this](auto&) {
             platform.files.place(FileIdentity{1, 101});
             EXPECT_EQ(platform.listener->connect(), nullptr);
         }},
        {"a stand-down",
         [](auto& client) {
             client.object->perform(requests::Call{requests::StandDown{}, [](auto) {}});
         }},
    };
    for (const auto& [name, leave] : exits) {
        platform.isLogThrowing = false;
        platform.files.place(FileIdentity{1, 100});
        const auto client = startAndHold();
        platform.isLogThrowing = true;
        leave(*client);
        queue.runFor(0.3);
        EXPECT_FALSE(isAnyManual()) << name;
        EXPECT_EQ(takeTrace().back(), "exit 0") << name;
        process.reset();
    }
}

/// Stops the queue when the helper exits, because a real process runs no code after its exit.
class ProcessExitTest : public HelperProcessTest {
protected:
    ProcessExitTest() {
        platform.onStep = [this](const std::string& step) {
            note(step);
            if (step.starts_with("exit"))
                queue.stop();
        };
    }
};

TEST_F(ProcessExitTest, AStopSignalAfterAStandDownExitsAtOnce) {
    const auto client = startAndHold();
    ReplyProbe<requests::Nothing> probe("standDown");
    client->object->perform(requests::Call{requests::StandDown{}, probe.reply()});
    queue.runFor(0.1);
    takeTrace();
    platform.stopSignals.send(SIGTERM);
    queue.runFor(60);
    EXPECT_EQ(takeEffects(), leaving("Asked to stop."));
    EXPECT_FALSE(isAnyManual());
}

TEST_F(ProcessExitTest, RepeatedStandDownDoesNotDelayTheExit) {
    const auto client = startAndHold();
    const Trace accepted = {"[NOTICE] service: A newer Kelo asked us to stand down."};
    for (int i = 0; i < 2; ++i) {
        ReplyProbe<requests::Nothing> probe("standDown");
        client->object->perform(requests::Call{requests::StandDown{}, probe.reply()});
        EXPECT_TRUE(probe.isAnswered());
        EXPECT_EQ(takeTrace(), accepted);
        queue.runFor(0.149);
    }
    EXPECT_TRUE(isAnyManual());
    queue.runFor(0.002);
    EXPECT_EQ(takeEffects(), leaving());
    EXPECT_FALSE(isAnyManual());
}

TEST_F(ProcessExitTest, AStopSignalIsHandledAfterTheQueuedHoldsAreRefused) {
    start();
    const auto client = platform.listener->connect();
    controller.setUnlockRule({true, 1e9});
    queue.runReady();
    takeTrace();
    std::vector<ReplyProbe<std::optional<std::string>>> probes(3);
    for (auto& probe : probes)
        client->object->perform(requests::Call{requests::Hold{0.5, false}, probe.reply()});
    queue.post([this] { platform.stopSignals.send(SIGTERM); });
    const double start = now;
    queue.runFor(60);
    for (const auto& probe : probes)
        EXPECT_THAT(probe.value(), Optional(HasSubstr("refused to hand over the fan (code 0x82)")));
    EXPECT_NEAR(now - start, 3 * 4.0, 0.5); // each hold blocks the main thread while it retries
    EXPECT_EQ(controller.number("Ftst"), 0);
    EXPECT_FALSE(isAnyManual());
    EXPECT_EQ(takeLogs(),
              Trace({"[NOTICE] listener: Asked to stop.", "[NOTICE] service: Handed the fan back on the way out."}));
}

} // namespace
} // namespace kelo
