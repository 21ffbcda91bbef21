#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// The part of `./dev run --stay` after the build and the staging.
class Stay : public EndToEnd {
protected:
    Stay() { std::signal(SIGINT, SIG_DFL); } // a shell cannot trap a signal that was ignored when it started
    ~Stay() override {
        shell.reset();
        // Kills processes left behind by a failed script. Their executable identifies them, since they are not our
        // children.
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            std::error_code error;
            const auto executable = std::filesystem::read_symlink(entry.path() / "exe", error);
            if (executable.parent_path() == folder.path())
                kill(std::stoi(entry.path().filename()), SIGKILL);
        }
    }

    /// Starts the script in a separate process group, as a terminal does.
    void start() {
        const std::string script = "set -euo pipefail; fail() { echo \"dev: $*\" >&2; exit 1; }; "
                                   "source '" KELO_SOURCE_FOLDER "/tools/dev/stage.sh'; stay '" +
                                   folder.path().string() + "'";
        shell = std::make_unique<ChildProcess>("/usr/bin/setsid", Lines{"bash", "-c", script}, folder / "log", "stay");
    }
    /// Sends SIGINT to the process group, as Ctrl-C does.
    void interrupt() const { kill(-shell->number(), SIGINT); }
    bool waitForError(const std::string& text) {
        return waitUntil([&] { return shell->errors().find(text) != std::string::npos; }, 20);
    }

    std::unique_ptr<ChildProcess> shell;
};

TEST_F(Stay, CtrlCHandsTheFanBackBeforeTheMacStops) {
    start();
    ASSERT_TRUE(waitForError("Listening on app.kelo.helper")) << shell->errors();
    const auto client = startHold();
    // Slows the exchanges, so that the hand-back would fail if the Mac stopped together with the helper.
    installation.simmac({"fault", "slow", "0.1"});
    // The Mac cannot be queried after it has stopped, so the test polls it until then.
    bool isHandedBack = false;
    interrupt();
    const bool hasEnded = waitUntil(
        [&] {
            const auto [status, output, errors] = installation.run("simmac", {"show"});
            isHandedBack = isHandedBack || (status == 0 && output.find("manual") == std::string::npos);
            return shell->status().has_value();
        },
        20);
    EXPECT_TRUE(hasEnded);
    EXPECT_TRUE(isHandedBack);
    EXPECT_EQ(shell->status(), 0);
    EXPECT_THAT(shell->errors(), HasSubstr("Handed the fan back on the way out."));
    EXPECT_EQ(installation.run("simmac", {"show"}).status, 1);
}

TEST_F(Stay, StopsTheMacWhenTheHelperExits) {
    start();
    ASSERT_TRUE(waitForError("Listening on app.kelo.helper")) << shell->errors();
    EXPECT_EQ(installation.run("kelo", {"stand-down"}).status, 0);
    EXPECT_EQ(shell->waitForEnd(20), 0);
    EXPECT_EQ(installation.run("simmac", {"show"}).status, 1);
}

TEST_F(Stay, ReportsAMacThatDoesNotStart) {
    std::filesystem::remove_all(installation.program("simulated-mac"));
    writeFile(installation.program("simulated-mac"), "no folder");
    start();
    EXPECT_EQ(shell->waitForEnd(20), 1);
    EXPECT_THAT(shell->errors(), HasSubstr("the simulated Mac does not start"));
    EXPECT_THAT(shell->errors(), Not(HasSubstr("Listening")));
}

} // namespace
} // namespace kelo
