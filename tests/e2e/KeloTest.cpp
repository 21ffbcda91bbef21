#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::EndsWith;
using ::testing::StartsWith;

class Kelo : public EndToEnd {
protected:
    /// Runs a shell command in the folder of the programs.
    Installation::Finished shell(const std::string& command) {
        std::filesystem::copy_file("/bin/sh", installation.program("sh"), std::filesystem::copy_options::skip_existing);
        return installation.run("sh", {"-c", "cd '" + installation.folder().string() + "' && " + command});
    }
    static bool prints(const ChildProcess& process, const std::string& text) {
        return waitUntil([&] { return (process.output() + process.errors()).find(text) != std::string::npos; }, 20);
    }
};

TEST_F(Kelo, RequestsTheHoldAgainAfterTheHelperWasKilled) {
    startEverything();
    const auto client = startHold();
    installation.helper().signal(SIGKILL);
    EXPECT_TRUE(prints(*client, "Waiting for the helper."));
    installation.helper().waitForEnd(10);
    installation.startListeningHelper();
    EXPECT_TRUE(installation.waitForLog("[NOTICE] service: hold: engaged(fraction: 0.5, neededUnlock: false)"));
    EXPECT_TRUE(prints(*client, "The hold was requested again.\n"));
    client->signal(SIGINT);
    EXPECT_EQ(client->waitForEnd(15), 0);
    EXPECT_FALSE(installation.isAnyFanManual());
}

TEST_F(Kelo, ReportsAfterTwoSecondsThatItWaitsForASilentHelper) {
    startEverything();
    installation.helper().signal(SIGSTOP);
    const auto handBack = installation.start("kelo", {"hand-back"});
    const auto doctor = installation.start("kelo", {"doctor"});
    EXPECT_TRUE(
        prints(*handBack, "kelo: Waiting for the helper. If it does not answer, this command hands the fans back:\n"));
    EXPECT_TRUE(prints(*doctor, "ok  running    as process"));
    EXPECT_TRUE(prints(*doctor, "--  waiting    The helper has not answered yet.\n"));
    installation.helper().signal(SIGCONT);
    EXPECT_EQ(handBack->waitForEnd(20), 0);
}

TEST_F(Kelo, ExitsWithFiveIfOutputCannotBeWritten) {
    startEverything();
    const std::string message = "kelo: cannot write: No space left on device\n";
    for (const auto* command : {"status --json", "watch --json", "watch --plain", "hold 0.5", "--help", "version"}) {
        const auto [status, output, errors] = shell("timeout 20 ./kelo " + std::string(command) + " >/dev/full");
        EXPECT_EQ(status, 5) << command;
        EXPECT_EQ(errors, message) << command;
    }
    EXPECT_FALSE(installation.isAnyFanManual());
    const auto [status, output, errors] = shell("timeout 20 ./kelo watch --plain | head -n 1");
    EXPECT_EQ(errors, "") << "a reader that closes the pipe is not an error";
}

TEST_F(Kelo, ClosedStandardStreamsAreNotMistakenForTheConnection) {
    startEverything();
    EXPECT_EQ(shell("./kelo hold 0.5 --for 2s <&- >&- 2>&-").status, 0);
    EXPECT_FALSE(installation.isAnyFanManual());
}

TEST_F(Kelo, HoldsWhileACommandRunsAndExitsWithItsStatus) {
    startEverything();
    const auto held = shell("./kelo hold 80% -- sh -c './simmac show; exit 7'");
    EXPECT_EQ(held.status, 7);
    EXPECT_THAT(held.output, StartsWith("fan 0  manual"));
    EXPECT_THAT(held.errors, EndsWith("kelo: The fans are under automatic control.\n"));
    EXPECT_FALSE(installation.isAnyFanManual());
    EXPECT_EQ(shell("./kelo hold 80% -- ./nothing").status, 127);
    EXPECT_EQ(shell("./kelo hold 80% -- sh -c 'kill -KILL $$'").status, 128 + SIGKILL);
    EXPECT_FALSE(installation.isAnyFanManual());
}

} // namespace
} // namespace kelo
