#include "client/commandline/CommandLine.h"

#include <gmock/gmock.h>

#include <memory>

#include "tests/client/ScriptedTerminal.h"
#include "tests/conformance/ScriptedHelper.h"
#include "tests/support/LoopbackConnection.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;

class CommandLineTest : public ::testing::Test {
protected:
    CommandLineTest() {
        service->snapshot = FanSnapshot{1, 3000, 1000, 5000, 3000, true, "cool", 65, false, false}.encoded();
    }

    /// Parses and runs the command.
    int run(const std::string& arguments) {
        CommandLine commandLine;
        commandLine.app().parse(arguments);
        return commandLine.command()(
            {[this] { return std::make_unique<LoopbackConnection>(service, [](LoopbackConnection&) {}); },
             [](const auto&) { return std::optional<Ran>(); }, "kelo"},
            terminal);
    }

    const std::shared_ptr<ScriptedHelper> service = std::make_shared<ScriptedHelper>();
    ScriptedTerminal terminal;
};

TEST_F(CommandLineTest, AHoldTakesAFractionATimeAndTheLid) {
    EXPECT_EQ(run("hold \"50 %\" --hand-back-on-lid-close --for 30m"), 0);
    EXPECT_THAT(service->holds(), ElementsAre(Pair(0.5, true)));
    EXPECT_THAT(terminal.printed, HasSubstr("for 30 m"));
}

TEST_F(CommandLineTest, WhatIsNoFractionOrTimeIsRefused) {
    for (const auto* arguments : {"hold half", "hold", "hold 0.5 --for 30", "hold 0.5 --for soon", "hold 0.5 0.6",
                                  "watch --json --plain", "completions tcsh", "status --plain"})
        EXPECT_THROW(run(arguments), CLI::ParseError) << arguments;
    EXPECT_THAT(service->requests(), ElementsAre());
}

TEST_F(CommandLineTest, EachCommandMakesItsRequest) {
    for (const auto* command : {"status", "hand-back", "version", "stand-down"})
        EXPECT_EQ(run(command), 0);
    EXPECT_THAT(service->requests(), ElementsAre("fetchSnapshot", "handBack", "helperVersion", "standDown"));
}

TEST_F(CommandLineTest, AWatchHasThreeForms) {
    terminal.takesDrawing = true;
    run("watch --plain");
    EXPECT_THAT(terminal.printed, HasSubstr("3000 RPM, target 3000"));
    EXPECT_TRUE(terminal.drawings.empty());
    terminal.waits = 0;
    run("watch --json");
    EXPECT_THAT(terminal.printed, HasSubstr("\"fanCount\":1"));
    EXPECT_TRUE(terminal.drawings.empty());
    terminal.waits = 0;
    run("watch");
    EXPECT_FALSE(terminal.drawings.empty());
}

TEST_F(CommandLineTest, TheDoctorsFindingsAreItsStatus) { EXPECT_EQ(run("doctor"), 1) << "no command can be run"; }

} // namespace
} // namespace kelo
