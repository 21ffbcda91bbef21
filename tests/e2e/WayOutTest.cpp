#include <fcntl.h>
#include <sys/stat.h>

#include <csignal>
#include <cstring>

#include "platform/posix/FileDescriptor.h"
#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::Contains;
using ::testing::Not;

const char* const askedToStop = "[NOTICE] listener: Asked to stop.";
const char* const deletedOrMoved = "[NOTICE] listener: Our binary was deleted or moved. Handing the fan back and "
                                   "leaving for the new helper.";
const char* const replacedOnDisk = "[NOTICE] listener: Our binary was replaced on disk. Handing the fan back and "
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
        EXPECT_TRUE(world.isAnyFanManual());
        if (state == State::yielded) {
            world.simmac({"lid", "close"});
            ASSERT_TRUE(world.waitForLog("[NOTICE] service: hold: yielded"));
        } else if (state == State::asleep) {
            world.simmac({"sleep"});
            ASSERT_TRUE(world.waitForLog("[NOTICE] service: hold: sleeping"));
        } else if (state == State::grace) {
            client->signal(SIGKILL);
            ASSERT_TRUE(world.waitForLog(disconnected));
            EXPECT_TRUE(world.isAnyFanManual());
        }
    }

    std::unique_ptr<ChildProcess> client;
    std::unique_ptr<RawClient> raw;
};

TEST_P(StopSignal, HandsBackAndExitsWithStatusZero) {
    const auto& [state, signal] = GetParam();
    enter(state);
    world.helper().signal(signal);
    expectGoodEnd();
    const bool isHolding = state != State::idle && state != State::unlocking;
    EXPECT_EQ(tail(world.helperLog(), isHolding ? 3 : 2),
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
        const auto log = world.helperLog();
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
        world.helper().signal(signal);
    expectOneEnd({askedToStop, onTheWayOut});
}

TEST_F(StopSignals, OneThatArrivesDuringTheStartIsNotLost) {
    world.startMac();
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr); // the helper inherits this: the signal waits for it
    world.startHelper();
    world.helper().signal(SIGTERM);
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    expectOneEnd({askedToStop, onTheWayOut});
}

TEST_F(StopSignals, TheSignalsOfATerminalAndOfAFullFileDoNotDisturbAHold) {
    startEverything();
    const auto client = startHold();
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGTTOU, SIGTTIN, SIGTSTP}) {
        world.helper().signal(signal);
        EXPECT_EQ(world.run("kelo", {"version"}).status, 0) << sigabbrev_np(signal);
    }
    EXPECT_TRUE(world.isAnyFanManual());
    world.helper().signal(SIGTERM);
    expectGoodEnd();
}

TEST_F(StopSignals, ALogFileThatMayNotGrowDoesNotEndTheHelper) {
    if (*KELO_SANITIZE == 't')
        GTEST_SKIP() << "the thread sanitizer writes a file when it starts, and ends with it";
    world.startMac();
    world.startHelperBy("/bin/sh", {"-c", "ulimit -f 0; exec \"$0\"", world.program(Installation::helperName)});
    ASSERT_TRUE(waitUntil([&] { return world.run("kelo", {"version"}).status == 0; }, 10));
    const auto client = startHold();
    EXPECT_TRUE(world.isAnyFanManual());
    world.helper().signal(SIGTERM);
    EXPECT_EQ(world.helper().waitForEnd(10), 0);
    EXPECT_FALSE(world.isAnyFanManual());
}

TEST_F(StopSignals, AnotherOneOnTheWayOutChangesNothing) {
    startEverything();
    const auto client = startHold();
    world.simmac({"fault", "slow", "0.1"}); // two hand-backs of three writes take more than a second
    world.helper().signal(SIGTERM);
    ASSERT_TRUE(world.waitForLog(askedToStop));
    for (const int signal : {SIGTERM, SIGINT})
        world.helper().signal(signal);
    EXPECT_THAT(world.helperLog(), Not(Contains(onTheWayOut))) << "they came too late to prove anything";
    expectOneEnd({askedToStop, released, onTheWayOut});
}

TEST_F(StopSignals, AReaderOfTheLogThatHasGoneDoesNotKeepTheFans) {
    world.startMac();
    const auto pipe = world.program("log-pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    FileDescriptor reader(open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    world.startHelperBy("/bin/sh", {"-c", "exec \"$0\" 2>\"$1\"", world.program(Installation::helperName), pipe});
    ASSERT_TRUE(waitUntil([&] { return world.run("kelo", {"version"}).status == 0; }, 10));
    const auto client = startHold();
    EXPECT_TRUE(world.isAnyFanManual());
    reader = FileDescriptor();
    world.helper().signal(SIGTERM);
    EXPECT_EQ(world.helper().waitForEnd(10), 0);
    EXPECT_FALSE(world.isAnyFanManual());
}

// --- the executable

class ExecutableReplaced : public EndToEnd {
protected:
    ExecutableReplaced() {
        startEverything();
        client = startHold();
    }

    void expectThatItLeaves() {
        expectGoodEnd();
        EXPECT_EQ(tail(world.helperLog(), 3), Lines({deletedOrMoved, released, onTheWayOut}));
    }
    /// A snapshot is taken by the main loop, which takes its file events in turn with its requests: by its second
    /// answer it has seen every event from before the first question.
    void expectThatItStays() {
        EXPECT_EQ(world.run("kelo", {"status"}).status, 0);
        EXPECT_EQ(world.run("kelo", {"status"}).status, 0);
        EXPECT_EQ(world.helper().status(), std::nullopt);
        EXPECT_THAT(world.helperLog(), Not(Contains(deletedOrMoved)));
        EXPECT_TRUE(world.isAnyFanManual());
    }

    std::filesystem::path executable = world.program(Installation::helperName);
    std::unique_ptr<ChildProcess> client;
};

TEST_F(ExecutableReplaced, ByARenameItLeaves) {
    std::filesystem::copy_file(executable, world.program("new"));
    std::filesystem::rename(world.program("new"), executable);
    expectThatItLeaves();
}

TEST_F(ExecutableReplaced, MovedItLeaves) {
    std::filesystem::rename(executable, world.program("elsewhere"));
    expectThatItLeaves();
}

TEST_F(ExecutableReplaced, DeletedItLeaves) {
    std::filesystem::remove(executable);
    expectThatItLeaves();
}

TEST_F(ExecutableReplaced, RewrittenThroughTheSameFileItStays) {
    // Most kernels refuse to let a running executable be written; the others change the file under us. Either way it is
    // still the same file.
    const int file = open(executable.c_str(), O_WRONLY);
    if (file >= 0) {
        EXPECT_EQ(lseek(file, -1, SEEK_END) >= 0 && write(file, "\0", 1) == 1, true);
        close(file);
    } else {
        EXPECT_EQ(errno, ETXTBSY);
    }
    expectThatItStays();
}

TEST_F(ExecutableReplaced, TouchedItStays) {
    std::filesystem::last_write_time(executable, std::filesystem::file_time_type::clock::now());
    std::filesystem::permissions(executable, std::filesystem::perms::owner_all);
    expectThatItStays();
}

TEST_F(ExecutableReplaced, HardLinkedAndRelievedOfTheOtherLinkItStays) {
    std::filesystem::create_hard_link(executable, world.program("link"));
    std::filesystem::remove(world.program("link"));
    expectThatItStays();
}

TEST_F(ExecutableReplaced, HardLinkedAndRelievedOfItsOwnNameItLeaves) {
    std::filesystem::create_hard_link(executable, world.program("link"));
    std::filesystem::remove(executable);
    expectThatItLeaves();
}

TEST_F(ExecutableReplaced, ANewHelperServesAfterTheOldOneHasLeft) {
    std::filesystem::copy_file(executable, world.program("new"));
    std::filesystem::rename(world.program("new"), executable);
    expectThatItLeaves();
    world.startListeningHelper();
    EXPECT_EQ(world.run("kelo", {"version"}).status, 0);
    EXPECT_TRUE(waitUntil([&] { return world.isAnyFanManual(); }, 10)) << "the client asks again";
}

/// The folder is moved, of which no event tells the file inside, and another helper is put where this one was.
class FolderReplaced : public EndToEnd {
protected:
    void replaceFolder() {
        std::filesystem::rename(folder.path(), moved);
        std::filesystem::create_directories(folder / "logs");
        std::filesystem::copy_file(moved + "/" + Installation::helperName, world.program(Installation::helperName));
    }
    void expectEndAndPutBack(const Lines& end) {
        EXPECT_EQ(world.helper().waitForEnd(10), 0);
        std::filesystem::remove_all(folder.path());
        std::filesystem::rename(moved, folder.path());
        EXPECT_EQ(tail(world.helperLog(), end.size()), end);
        EXPECT_FALSE(world.isAnyFanManual());
    }

    const std::string moved = folder.path().string() + ".moved";
};

TEST_F(FolderReplaced, AHelperThatHoldsNoticesByItself) {
    startEverything();
    const auto client = startHold();
    replaceFolder();
    expectEndAndPutBack({deletedOrMoved, released, onTheWayOut});
}

TEST_F(FolderReplaced, AHelperThatHoldsNothingRefusesTheNextConnectionAndLeaves) {
    startEverything();
    replaceFolder();
    // The clients of the old folder still find the old helper.
    ChildProcess late(moved + "/kelo", {"version"}, folder / "logs", "late");
    EXPECT_EQ(late.waitForEnd(10), 3);
    expectEndAndPutBack({replacedOnDisk, onTheWayOut});
}

// --- standing down

class StandDown : public EndToEnd {};

TEST_F(StandDown, TheReplyComesFirstAndTheFanIsHandedBack) {
    startEverything();
    const auto client = startHold();
    EXPECT_EQ(world.run("kelo", {"stand-down"}).status, 0);
    expectGoodEnd();
    const auto log = world.helperLog();
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
    EXPECT_EQ(world.helper().status(), std::nullopt);
    EXPECT_THAT(world.helperLog(), Not(Contains(onTheWayOut)));
    EXPECT_EQ(holding->reply<requests::Hold>(),
              "This Mac refused to hand over the fan (code 0x82). It usually means the system is "
              "managing cooling itself right now.");
    expectGoodEnd();
}

} // namespace
} // namespace kelo
