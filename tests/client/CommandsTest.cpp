#include "client/Commands.h"

#include <gmock/gmock.h>

#include <memory>

#include "client/Readings.h"
#include "tests/client/ScriptedTerminal.h"
#include "tests/conformance/ScriptedHelper.h"
#include "tests/support/LoopbackConnection.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class CommandsTest : public ::testing::Test {
protected:
    CommandsTest() { show(FanSnapshot{2, 3598.4, 1200, 6000, 3600, true, "warm", 61.5, false, false}); }

    void show(const FanSnapshot& snapshot) { service->snapshot = snapshot.encoded(); }
    std::string status() {
        terminal.printed.clear();
        commands::status(helper, terminal, false);
        return terminal.printed;
    }

    const std::shared_ptr<ScriptedHelper> service = std::make_shared<ScriptedHelper>();
    LoopbackConnection helper{service, [](LoopbackConnection&) {}};
    ScriptedTerminal terminal;
};

TEST_F(CommandsTest, StatusTellsTheStateInAlignedLines) {
    EXPECT_EQ(status(), "speed      ############............  3598 RPM, 50 %\n"
                        "target     ############............  3600 RPM, 50 %\n"
                        "chip       ###########.............  61.5 C, warm\n"
                        "range      1200 to 6000 RPM, of the fastest of 2 fans\n"
                        "control    held\n"
                        "added air  none\n"
                        "lid        open, or no hold asks about it\n");
}

TEST_F(CommandsTest, StatusTakesWhatTheTerminalCanShow) {
    terminal.shown = {.hasColour = false, .hasUnicode = true};
    EXPECT_THAT(status(), HasSubstr("chip       ███████████░░░░░░░░░░░░░  61.5 °C, warm\n"));
    EXPECT_THAT(status(), Not(HasSubstr("\033")));
    terminal.shown = {.hasColour = true, .hasUnicode = false};
    EXPECT_THAT(status(), HasSubstr("\033[33m61.5 C, warm\033[0m\n"));
}

TEST_F(CommandsTest, StatusNamesEachKindOfControl) {
    const auto control = [&](bool isHeld, bool isAddingAir, bool lidHasFan) {
        show(FanSnapshot{1, 0, 0, 0, 0, isHeld, "cool", 45, isAddingAir, lidHasFan});
        return status();
    };
    EXPECT_THAT(control(false, false, false), HasSubstr("control    automatic\n"));
    EXPECT_THAT(control(true, true, false), HasSubstr("control    held\nadded air  yes, for a hot chip\n"));
    EXPECT_THAT(control(false, false, true), HasSubstr("lid        closed; the fan is handed back until it opens\n"));
}

TEST_F(CommandsTest, StatusLeavesOutAMissingChipReadingAndTellsOfNoFans) {
    show(FanSnapshot{0, 0, 0, 0, 0, false, "cool", std::nullopt, false, false});
    EXPECT_EQ(status(), "fan        no usable fan\n"
                        "chip       cool; no temperature to be read\n"
                        "control    automatic\n"
                        "added air  none\n"
                        "lid        open, or no hold asks about it\n");
}

TEST_F(CommandsTest, AFanWithoutARangeHasNoPercentage) {
    show(FanSnapshot{1, 900, 0, 0, 1000, false, "cool", 45, false, false});
    EXPECT_THAT(status(), HasSubstr("speed      ........................  900 RPM\n"));
}

TEST_F(CommandsTest, StatusAsJSONIsTheHelpersOwn) {
    commands::status(helper, terminal, true);
    const auto& json = service->snapshot;
    EXPECT_EQ(terminal.printed, std::string(json->begin(), json->end()) + "\n");
}

TEST_F(CommandsTest, StatusWithoutASnapshotIsARefusal) {
    service->snapshot.reset();
    EXPECT_THROW(commands::status(helper, terminal, false), HelperRefused);
    EXPECT_THROW(commands::status(helper, terminal, true), HelperRefused);
}

TEST_F(CommandsTest, ASnapshotThatCannotBeReadIsARefusal) {
    service->snapshot = Data{'{', '}'};
    EXPECT_THROW(commands::status(helper, terminal, false), HelperRefused);
}

TEST_F(CommandsTest, TheOtherRequestsSayWhatTheyDid) {
    commands::handBack(helper, terminal);
    commands::version(helper, terminal);
    service->version = 7;
    commands::version(helper, terminal);
    commands::standDown(helper, terminal);
    EXPECT_THAT(service->requests(), ElementsAre("handBack", "helperVersion", "helperVersion", "standDown"));
    EXPECT_EQ(terminal.printed, "The fan is under automatic control.\n"
                                "The helper's interface version is 6, the same as this program's.\n"
                                "The helper's interface version is 7; this program's is 6.\n"
                                "The helper is handing the fan back and exiting.\n");
}

} // namespace
} // namespace kelo
