#include "client/commandline/CommandLine.h"

#include <gmock/gmock.h>

#include "client/Readings.h"
#include "tests/client/ScriptedFans.h"
#include "tests/client/ScriptedTerminal.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;
using ::testing::SizeIs;

class CommandLineTest : public ::testing::Test {
protected:
    CommandLineTest() {
        surroundings.all.start = [this](const CommandWords& command) {
            companion = command;
            return Companion{[] { return 7; }, {}};
        };
    }

    /// Parses and runs a command line, split at blanks.
    int run(const std::string& words) {
        CommandLine commandLine;
        auto arguments = CLI::detail::split(words, ' ');
        arguments.insert(arguments.begin(), "kelo");
        std::vector<const char*> argv;
        for (const auto& argument : arguments)
            if (!argument.empty())
                argv.push_back(argument.c_str());
        testing::internal::CaptureStderr();
        const auto status = commandLine.parse(static_cast<int>(argv.size()), argv.data());
        errorOutput = testing::internal::GetCapturedStderr();
        terminal.waits = 0;
        terminal.signal = 0;
        return status ? *status : commandLine.command()(surroundings.all, terminal);
    }

    ScriptedSurroundings surroundings;
    ScriptedTerminal terminal;
    std::string errorOutput;
    CommandWords companion;
};

TEST_F(CommandLineTest, HoldAcceptsASpeedADurationAndTheLidOption) {
    EXPECT_EQ(run("hold 50% --hand-back-on-lid-close --for 30m"), 0);
    EXPECT_THAT(surroundings.fans->holds(), ElementsAre(Pair(0.5, true)));
    EXPECT_THAT(terminal.printed, HasSubstr("for 30 m"));
}

TEST_F(CommandLineTest, HoldAcceptsACommandAfterTwoDashes) {
    EXPECT_EQ(run("hold 3600rpm -- make --for"), 7);
    EXPECT_THAT(companion, ElementsAre("make", "--for"));
    EXPECT_THAT(surroundings.fans->holds(), ElementsAre(Pair(0.5, false)));
}

TEST_F(CommandLineTest, RefusesIncorrectUsageWithSuggestions) {
    const std::pair<const char*, const char*> wrong[] = {
        {"", "a command is required; see kelo --help"},
        {"staus", "unknown command \"staus\"; did you mean \"status\"? See kelo --help"},
        {"dance", "unknown command \"dance\"; see kelo --help"},
        {"--versoin", "unknown option \"--versoin\"; did you mean \"--version\"? See kelo --help"},
        {"status --jsn", "unknown option \"--jsn\"; did you mean \"--json\"? See kelo --help"},
        {"status now", "unknown argument \"now\"; see kelo --help"},
        {"hold", "speed is required; see kelo --help"},
        {"hold 50", "speed: \"50\" is not a speed (0 to 1, 0% to 100%, or 3000rpm); did you mean 50%? See kelo --help"},
        {"hold 0.5 --for", "--for needs a value; see kelo --help"},
        {"hold 0.5 --for 10",
         "--for: \"10\" is not a time (90s, 30m or 1h30m); did you mean 10s or 10m? See kelo --help"},
        {"hold 0.5 0.6", "unknown argument \"0.6\"; see kelo --help"},
        {"hold 0.5 --", "a command is required after --; see kelo --help"},
        {"hold 0.5 --for 1h -- make", "--for and a command cannot be used together; see kelo --help"},
        {"status -- make", "only hold takes a command after --; see kelo --help"},
        {"watch --json --plain", "--plain and --json cannot be used together; see kelo --help"},
        {"watch --interval 0s", "--interval: \"0s\" is not a time (90s, 30m or 1h30m); see kelo --help"}};
    for (const auto& [words, reason] : wrong) {
        EXPECT_EQ(run(words), 2) << words;
        EXPECT_EQ(errorOutput, std::string("kelo: ") + reason + "\n");
    }
    EXPECT_EQ(run("completions tcsh"), 2);
    EXPECT_THAT(surroundings.fans->requests(), SizeIs(0));
}

TEST_F(CommandLineTest, EachCommandSendsItsRequest) {
    for (const auto* command : {"hand-back", "version", "stand-down"})
        EXPECT_EQ(run(command), 0);
    EXPECT_THAT(surroundings.fans->requests(), ElementsAre("handBack", "fetchSnapshot", "helperVersion", "standDown"));
}

TEST_F(CommandLineTest, StatusHasThreeFormats) {
    run("status");
    EXPECT_THAT(terminal.printed, HasSubstr("range      1200 to 6000 RPM"));
    run("status --json");
    EXPECT_THAT(terminal.printed, HasSubstr("{\"fanCount\":2"));
    run("status --line");
    EXPECT_THAT(terminal.printed, HasSubstr("3598 RPM 62C\n"));
}

TEST_F(CommandLineTest, StatusRequiresTheSameHelperVersionButHandBackDoesNot) {
    surroundings.fans->version = 7;
    EXPECT_THROW(run("status"), OtherVersion);
    EXPECT_EQ(run("hand-back"), 0);
    EXPECT_EQ(run("stand-down"), 0);
}

TEST_F(CommandLineTest, WatchHasThreeFormats) {
    terminal.canDraw = true;
    run("watch --plain --interval 5s");
    EXPECT_THAT(terminal.printed, HasSubstr("3598 RPM, target 3600"));
    EXPECT_EQ(terminal.seconds, 1005);
    run("watch --json");
    EXPECT_THAT(terminal.printed, HasSubstr("\"fanCount\":2"));
    EXPECT_THAT(terminal.drawings, SizeIs(0));
    run("watch");
    EXPECT_FALSE(terminal.drawings.empty());
}

TEST_F(CommandLineTest, HelpIsAlsoACommand) {
    EXPECT_EQ(run("help"), 0);
    EXPECT_THAT(terminal.printed, HasSubstr("Usage: kelo [OPTIONS] SUBCOMMAND"));
    EXPECT_EQ(run("help hold"), 0);
    EXPECT_THAT(terminal.printed, HasSubstr("Usage: kelo hold [OPTIONS] speed"));
}

TEST_F(CommandLineTest, DoctorExitsWithOneAfterFindingAFault) {
    EXPECT_EQ(run("doctor"), 1) << "no command can be run";
}

} // namespace
} // namespace kelo
