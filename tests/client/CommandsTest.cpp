#include "client/Commands.h"

#include <gmock/gmock.h>

#include "client/Readings.h"
#include "tests/client/ScriptedFans.h"
#include "tests/client/ScriptedTerminal.h"

namespace kelo {
namespace {

using commands::StatusForm;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class CommandsTest : public ::testing::Test {
protected:
    CommandsTest() { fans.isHeld = true; }

    std::string status(StatusForm form = StatusForm::gauges) {
        terminal.printed.clear();
        commands::status(*helper, terminal, form);
        return terminal.printed;
    }
    std::string refusalOf(void (*command)(HelperConnection&, Terminal&)) {
        try {
            command(*helper, terminal);
        } catch (const std::exception& error) {
            return error.what();
        }
        return "";
    }

    ScriptedSurroundings surroundings;
    ScriptedFans& fans = *surroundings.fans;
    const std::unique_ptr<HelperConnection> helper = surroundings.all.connect();
    ScriptedTerminal terminal;
};

TEST_F(CommandsTest, StatusShowsTheStateInAlignedLines) {
    EXPECT_EQ(status(), "speed      ############............  3598 RPM, 50 %\n"
                        "target     ############............  3600 RPM, 50 %\n"
                        "chip       ###########.............  61.5 C, warm\n"
                        "range      1200 to 6000 RPM (fastest of 2 fans)\n"
                        "control    held\n");
}

TEST_F(CommandsTest, StatusUsesTheTerminalsColoursAndUnicode) {
    terminal.shown = {.hasColour = false, .hasUnicode = true};
    EXPECT_THAT(status(), HasSubstr("chip       ███████████░░░░░░░░░░░░░  61.5 °C, warm\n"));
    EXPECT_THAT(status(), Not(HasSubstr("\033")));
    terminal.shown = {.hasColour = true, .hasUnicode = false};
    EXPECT_THAT(status(), HasSubstr("\033[33m61.5 C, warm\033[0m\n"));
}

TEST_F(CommandsTest, StatusNamesEachKindOfControl) {
    const auto control = [&](bool isHeld, bool isAddingAir, bool lidHasFan) {
        fans.show(isHeld, isAddingAir, lidHasFan);
        return status();
    };
    EXPECT_THAT(control(false, false, false), HasSubstr("control    automatic\n"));
    EXPECT_THAT(control(true, true, false), HasSubstr("control    held, raised: the chip is hot\n"));
    EXPECT_THAT(control(false, false, true),
                HasSubstr("control    waiting: the lid is closed, or the fans could not be taken again\n"));
}

TEST_F(CommandsTest, StatusNamesTheLowestAndTheHighestSpeed) {
    fans.fraction = 0;
    EXPECT_THAT(status(), HasSubstr("  1200 RPM, lowest\n"));
    fans.fraction = 1;
    EXPECT_THAT(status(), HasSubstr("  6000 RPM, highest\n"));
}

TEST_F(CommandsTest, StatusShowsThatTheChipTemperatureIsUnknown) {
    terminal.shown.hasColour = true;
    fans.warmth = "cool";
    fans.celsius.reset();
    EXPECT_THAT(status(), HasSubstr("\033[33munknown; a hold does not raise the fans when it gets hot\033[0m\n"));
    EXPECT_THAT(status(), Not(HasSubstr("cool")));
    EXPECT_THAT(status(StatusForm::line), Not(HasSubstr("cool")));
}

TEST_F(CommandsTest, UnknownWarmthIsNotColoured) {
    terminal.shown.hasColour = true;
    fans.warmth = "scorching";
    EXPECT_THAT(status(), HasSubstr("61.5 C, scorching\n"));
}

TEST_F(CommandsTest, EscapesControlCharactersFromTheHelper) {
    fans.warmth = "\033[2Jwarm\n\xC2\x9B!";
    EXPECT_THAT(status(), HasSubstr("61.5 C, ^[[2Jwarm ?!\n"));
    EXPECT_THAT(status(StatusForm::json), HasSubstr("\\u001b[2Jwarm\\n?!"));
}

TEST_F(CommandsTest, StatusReportsThatThereAreNoFans) {
    fans.fanCount = 0;
    EXPECT_EQ(status(), "fans       no usable fan\n"
                        "chip       ###########.............  61.5 C, warm\n"
                        "control    automatic\n");
}

TEST_F(CommandsTest, StatusForAStatusBarIsOneShortLine) {
    EXPECT_EQ(status(StatusForm::line), "3598 RPM held 62C\n");
    fans.show(false, false, true);
    EXPECT_EQ(status(StatusForm::line), "3598 RPM waiting 62C\n");
    fans.show(true, true);
    fans.celsius.reset();
    EXPECT_EQ(status(StatusForm::line), "3598 RPM raised\n");
    fans.fanCount = 0;
    EXPECT_EQ(status(StatusForm::line), "no fan\n");
}

TEST_F(CommandsTest, StatusPrintsTheHelpersJSONUnchanged) {
    const auto json = fans.current().encoded();
    EXPECT_EQ(status(StatusForm::json), std::string(json.begin(), json.end()) + "\n");
}

TEST_F(CommandsTest, StatusFailsWithoutASnapshot) {
    fans.hasReadings = false;
    for (const auto form : {StatusForm::gauges, StatusForm::line, StatusForm::json})
        EXPECT_THROW(status(form), HelperRefused);
}

TEST_F(CommandsTest, HandBackChecksThatTheFansAreAutomatic) {
    commands::handBack(*helper, terminal);
    EXPECT_EQ(terminal.printed, "The fans are under automatic control.\n");
    EXPECT_THAT(fans.requests(), ElementsAre("handBack", "fetchSnapshot"));
}

TEST_F(CommandsTest, HandBackFailsWhileAFanIsStillManual) {
    fans.takesFansBack = false;
    EXPECT_EQ(refusalOf(commands::handBack), "A fan is still in manual mode: the controller has not taken it back. Run "
                                             "kelo hand-back again; if that does not help, restart the Mac.");
    fans.hasReadings = false;
    EXPECT_THAT(refusalOf(commands::handBack), HasSubstr("no reading confirms it"));
    EXPECT_EQ(terminal.printed, "");
}

TEST_F(CommandsTest, VersionNamesTheProgramToUpdate) {
    EXPECT_EQ(refusalOf(commands::version), "");
    EXPECT_EQ(terminal.printed, "The helper's interface version is 6, the same as this program's.\n");
    fans.version = 7;
    EXPECT_EQ(refusalOf(commands::version),
              "The helper is newer than this kelo (interface version 7, this kelo's is 6). Update kelo.");
    fans.version = 5;
    EXPECT_EQ(refusalOf(commands::version),
              "The helper is older than this kelo (interface version 5, this kelo's is 6). Update the helper.");
}

TEST_F(CommandsTest, StandDownReportsThatTheHelperExits) {
    commands::standDown(*helper, terminal);
    EXPECT_EQ(terminal.printed, "The helper is handing the fans back and exiting.\n");
}

} // namespace
} // namespace kelo
