#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// What `./dev run --stay` does once everything is built and laid out.
class Stay : public EndToEnd {
protected:
    Stay() { std::signal(SIGINT, SIG_DFL); } // a shell cannot take a signal that it was started to ignore
    ~Stay() override {
        shell.reset();
        // What it leaves behind when it fails is no child of ours.
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            std::error_code error;
            const auto executable = std::filesystem::read_symlink(entry.path() / "exe", error);
            if (executable.parent_path() == folder.path())
                kill(std::stoi(entry.path().filename()), SIGKILL);
        }
    }

    /// In a process group of its own, as a terminal would start it.
    void start() {
        const std::string script = "set -euo pipefail; fail() { echo \"dev: $*\" >&2; exit 1; }; "
                                   "source '" KELO_SOURCE_FOLDER "/tools/dev/stage.sh'; stay '" +
                                   folder.path().string() + "'";
        shell = std::make_unique<ChildProcess>("/usr/bin/setsid", Lines{"bash", "-c", script}, folder / "log", "stay");
    }
    /// What Ctrl-C does.
    void interrupt() const { kill(-shell->number(), SIGINT); }
    bool waitForError(const std::string& text) {
        return waitUntil([&] { return shell->errors().find(text) != std::string::npos; }, 20);
    }

    std::unique_ptr<ChildProcess> shell;
};

TEST_F(Stay, CtrlCHandsTheFanBackBeforeTheMacEnds) {
    start();
    ASSERT_TRUE(waitForError("Listening on app.kelo.helper")) << shell->errors();
    const auto client = startHold();
    // Each exchange takes a while, so that a Mac that ended with the helper would end in the middle of the hand-back.
    installation.simmac({"fault", "slow", "0.1"});
    // As the Mac cannot be asked after its end, it is asked until then.
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

TEST_F(Stay, AHelperThatEndsTakesTheMacWithIt) {
    start();
    ASSERT_TRUE(waitForError("Listening on app.kelo.helper")) << shell->errors();
    EXPECT_EQ(installation.run("kelo", {"stand-down"}).status, 0);
    EXPECT_EQ(shell->waitForEnd(20), 0);
    EXPECT_EQ(installation.run("simmac", {"show"}).status, 1);
}

TEST_F(Stay, AMacThatDoesNotComeUpIsSaidAndNotWaitedFor) {
    std::filesystem::remove_all(installation.program("simulated-mac"));
    writeFile(installation.program("simulated-mac"), "no folder");
    start();
    EXPECT_EQ(shell->waitForEnd(20), 1);
    EXPECT_THAT(shell->errors(), HasSubstr("the simulated Mac does not start"));
    EXPECT_THAT(shell->errors(), Not(HasSubstr("Listening")));
}

} // namespace
} // namespace kelo
