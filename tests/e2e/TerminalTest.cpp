#include <chrono>
#include <csignal>
#include <thread>

#include "testing/process/PseudoTerminal.h"
#include "testing/process/VirtualScreen.h"
#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

const std::string ctrlC = "\x03";
const std::string ctrlZ = "\x1a";

/// Runs `kelo` on a terminal and checks its screen.
class OnATerminal : public EndToEnd {
protected:
    static constexpr double patience = 20; // seconds

    OnATerminal() { environment = {"TERM=xterm", "LC_ALL=C.UTF-8", "NO_COLOR="}; }

    void start(const Lines& arguments, unsigned columns = 80, unsigned rows = 24) {
        startProgram(installation.program("kelo"), arguments, columns, rows);
    }
    void startProgram(const std::filesystem::path& program, const Lines& arguments, unsigned columns, unsigned rows) {
        screen = std::make_unique<VirtualScreen>(columns, rows);
        terminal = std::make_unique<PseudoTerminal>(program, arguments, columns, rows, environment);
        sent.clear();
    }
    void look() {
        const auto bytes = terminal->readNew();
        sent += bytes;
        screen->take(bytes);
        EXPECT_THAT(screen->faults, IsEmpty());
    }
    bool waitFor(const std::function<bool()>& condition) {
        return waitUntil(
            [&] {
                look();
                return condition();
            },
            patience);
    }
    bool waitFor(const std::string& text) {
        return waitFor([&] { return screen->shows(text); });
    }
    void resize(unsigned columns, unsigned rows) {
        look();
        screen->resize(columns, rows);
        terminal->resize(columns, rows);
    }
    /// Expects that the view has been removed and the terminal modes restored.
    void expectCleanEnd(int status) {
        ASSERT_TRUE(waitFor([&] { return terminal->status().has_value(); }));
        look();
        EXPECT_EQ(terminal->status(), status);
        expectCleanTerminal();
    }
    void expectCleanTerminal() {
        EXPECT_FALSE(screen->isAlternate);
        EXPECT_TRUE(screen->isCursorVisible);
        EXPECT_EQ(screen->ink, "");
        EXPECT_FALSE(screen->shows("speed "));
        EXPECT_TRUE(terminal->isEchoing());
    }

    Lines environment;
    std::unique_ptr<VirtualScreen> screen;
    std::unique_ptr<PseudoTerminal> terminal;
    std::string sent;
};

TEST_F(OnATerminal, WatchFillsScreensOfEverySizeAndRestoresThem) {
    startEverything();
    const std::pair<unsigned, unsigned> sizes[] = {{80, 24}, {200, 60}, {40, 12}, {20, 5}, {12, 2}, {1, 1}};
    for (const auto& [columns, rows] : sizes) {
        start({"watch"}, columns, rows);
        ASSERT_TRUE(waitFor(columns > 5 ? "speed" : "…")) << columns << " x " << rows;
        EXPECT_TRUE(screen->isAlternate);
        EXPECT_FALSE(screen->isCursorVisible);
        EXPECT_FALSE(terminal->isEchoing());
        const bool hasRoom = rows >= 6;
        EXPECT_TRUE(!hasRoom || waitFor([&] { return screen->rows().back().starts_with("q or Ctrl-C"); }));
        terminal->type("some keys");
        terminal->type(rows % 8 == 0 ? "q" : ctrlC);
        expectCleanEnd(0);
        EXPECT_THAT(screen->rows(), Each(IsEmpty())) << "shows neither the view nor typed keys";
    }
}

TEST_F(OnATerminal, WatchRedrawsAtOnceWhenTheWindowIsResized) {
    startEverything();
    start({"watch"}, 80, 24);
    ASSERT_TRUE(waitFor("q or Ctrl-C ends"));
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned i = 0; i < 20; ++i) {
        resize(40 + 5 * i, i % 2 == 0 ? 10 : 30 + i);
        ASSERT_TRUE(waitFor([&] { return screen->rows().back().starts_with("q or Ctrl-C ends"); })) << i;
        EXPECT_THAT(screen->rows().front(), StartsWith(" kelo watch   automatic "));
    }
    // If it redrew only with the next reading, each resize would take up to a second.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(12));
    terminal->type(ctrlC);
    expectCleanEnd(0);
}

TEST_F(OnATerminal, SuspendedWatchRestoresTheScreen) {
    startEverything();
    start({"watch"});
    ASSERT_TRUE(waitFor(" kelo watch   automatic "));
    terminal->type(ctrlZ);
    ASSERT_TRUE(waitFor([&] { return terminal->isStopped(); }));
    look();
    expectCleanTerminal();
    terminal->signal(SIGCONT);
    EXPECT_TRUE(waitFor(" kelo watch   automatic "));
    EXPECT_TRUE(screen->isAlternate);
    terminal->type(ctrlC);
    expectCleanEnd(0);
}

TEST_F(OnATerminal, HoldDrawsTheViewAndHandsTheFansBackOnCtrlC) {
    startEverything();
    start({"hold", "50%", "--hand-back-on-lid-close"});
    ASSERT_TRUE(waitFor("   held "));
    EXPECT_EQ(screen->rows().back(), "q or Ctrl-C ends the hold and hands the fans back");
    installation.simmac({"lid", "close"});
    EXPECT_TRUE(waitFor("Waiting: the lid is closed, or the fans could not be taken again."));
    terminal->type(ctrlC);
    expectCleanEnd(0);
    EXPECT_EQ(screen->rows()[0], "Holding at 50%. Ctrl-C hands the fans back.");
    EXPECT_EQ(screen->rows()[1], "The fans are under automatic control.");
    EXPECT_FALSE(installation.isAnyFanManual());
}

TEST_F(OnATerminal, HoldHandsTheFansBackWhenItsTerminalIsClosed) {
    startEverything();
    start({"hold", "0.5"});
    ASSERT_TRUE(waitFor("   held "));
    terminal->signal(SIGHUP);
    expectCleanEnd(0);
    EXPECT_FALSE(installation.isAnyFanManual());
}

TEST_F(OnATerminal, HoldWithBlockedOutputEndsOnTime) {
    startEverything();
    for (const std::string kind : {"TERM=dumb", "TERM=xterm"}) {
        environment.front() = kind;
        start({"hold", "0.5", "--for", "3s"});
        ASSERT_TRUE(waitUntil([&] { return installation.isAnyFanManual(); }, patience));
        std::this_thread::sleep_for(std::chrono::milliseconds(500)); // the announcement has been printed
        terminal->type("\x13");                                      // Ctrl-S blocks the output
        EXPECT_TRUE(waitUntil([&] { return !installation.isAnyFanManual(); }, 10)) << kind;
        EXPECT_TRUE(waitUntil([&] { return terminal->status() == 0; }, 10)) << kind;
    }
}

TEST_F(OnATerminal, CtrlCEndsAHoldWhileTheHelperHangs) {
    startEverything();
    start({"hold", "0.5"});
    ASSERT_TRUE(waitFor("   held "));
    installation.helper().signal(SIGSTOP);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500)); // the announcement has been printed
    const auto begin = std::chrono::steady_clock::now();
    terminal->type(ctrlC);
    expectCleanEnd(3);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(12));
    EXPECT_THAT(screen->rows()[1], StartsWith("kelo: The helper does not answer. It hands the fans back 8 seconds"));
    installation.helper().signal(SIGCONT);
    EXPECT_TRUE(installation.waitForLog(handedBack, patience));
    EXPECT_FALSE(installation.isAnyFanManual());
}

TEST_F(OnATerminal, CtrlCCancelsAHoldThatIsNotYetGranted) {
    startEverything();
    installation.helper().signal(SIGSTOP);
    start({"hold", "0.5"});
    std::this_thread::sleep_for(std::chrono::milliseconds(1000)); // by then, the client has sent its request
    terminal->type(ctrlC);
    expectCleanEnd(128 + SIGINT);
    installation.helper().signal(SIGCONT);
    EXPECT_EQ(installation.run("kelo", {"status"}).status, 0); // the helper has processed the pending requests
    EXPECT_FALSE(installation.isAnyFanManual());
}

TEST_F(OnATerminal, SettingNoColorDisablesColour) {
    startEverything();
    const auto isColoured = [&](const std::string& command, const std::string& noColour) {
        environment.back() = noColour;
        start({command});
        EXPECT_TRUE(waitFor("automatic"));
        return screen->wasColoured;
    };
    for (const auto* command : {"watch", "status"}) {
        EXPECT_TRUE(isColoured(command, "NO_COLOR=")) << command;
        EXPECT_FALSE(isColoured(command, "NO_COLOR=1")) << command;
    }
}

TEST_F(OnATerminal, DumbTerminalGetsPlainLines) {
    startEverything();
    for (const std::string kind : {"TERM=dumb", "TERM="}) {
        environment.front() = kind;
        start({"status"});
        EXPECT_TRUE(waitFor("automatic"));
        EXPECT_THAT(sent, Not(HasSubstr("\033")));
        start({"watch"});
        EXPECT_TRUE(waitFor([&] { return sent.find("range 1200...6000; automatic; chip cool") != std::string::npos; }))
            << sent;
        terminal->type(ctrlC);
        expectCleanEnd(0);
        EXPECT_THAT(sent, Not(HasSubstr("\033")));
        start({"hold", "0.5"});
        EXPECT_TRUE(waitFor("Holding at 50%"));
        terminal->type(ctrlC);
        EXPECT_TRUE(waitFor("The fans are under automatic control."));
        EXPECT_THAT(sent, Not(HasSubstr("\033")));
    }
}

TEST_F(OnATerminal, TerminalWithoutUnicodeGetsOnlyASCII) {
    startEverything();
    environment[1] = "LC_ALL=C";
    start({"watch"});
    ASSERT_TRUE(waitFor(" C, cool"));
    EXPECT_TRUE(std::all_of(sent.begin(), sent.end(), [](char byte) { return static_cast<signed char>(byte) >= 0; }));
    terminal->type(ctrlC);
    expectCleanEnd(0);
}

TEST_F(OnATerminal, BackgroundHoldDoesNotDraw) {
    startEverything();
    const auto command = "set -m; '" + installation.program("kelo").string() + "' hold 50% --for 1s & wait";
    startProgram("/bin/bash", {"-c", command}, 80, 24);
    EXPECT_TRUE(waitFor("The fans are under automatic control."));
    EXPECT_THAT(sent, Not(HasSubstr("\033[")));
    EXPECT_TRUE(waitFor([&] { return terminal->status() == 0; }));
}

} // namespace
} // namespace kelo
