#include "client/Commands.h"

#include <gmock/gmock.h>

#include <memory>
#include <sstream>

#include "protocol/FanSnapshot.h"
#include "tests/conformance/ScriptedHelper.h"
#include "tests/support/LoopbackConnection.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;

class CommandsTest : public ::testing::Test {
protected:
    CommandsTest() { show(FanSnapshot{2, 3598.4, 1200, 6000, 3600, true, "warm", 61.5, false, false}); }

    void show(const FanSnapshot& snapshot) { service->snapshot = snapshot.encoded(); }

    const std::shared_ptr<ScriptedHelper> service = std::make_shared<ScriptedHelper>();
    LoopbackConnection helper{service, [](LoopbackConnection&) {}};
    std::ostringstream out;
    int pauses = 0;
    int pausesUntilStop = 2;
    Terminal terminal{out, false, [this](double seconds) {
                          EXPECT_EQ(seconds, 1.0);
                          return ++pauses < pausesUntilStop;
                      }};
};

TEST(Fractions, AreNumbersOrPercentages) {
    const std::pair<const char*, double> fractions[] = {{"0", 0},    {"1", 1},  {"0.5", 0.5},     {"50%", 0.5},
                                                        {"100%", 1}, {"0%", 0}, {"12.5%", 0.125}, {"1e-1", 0.1}};
    for (const auto& [text, fraction] : fractions)
        EXPECT_EQ(parseFraction(text), fraction) << text;
    for (const auto* text : {"", "%", ".", "1.2.3", "+0.5", "0x1", "1e", "half", "-0.1", "1.1", "101%", "0.5x", "0.5 ",
                             " 0.5", "nan", "inf", "50%%", "0,5"})
        EXPECT_EQ(parseFraction(text), std::nullopt) << text;
}

TEST_F(CommandsTest, StatusTellsTheStateInOneLine) {
    commands::status(helper, terminal, false);
    EXPECT_EQ(out.str(),
              "2 fans; the fastest: 3598 RPM, target 3600, range 1200...6000; held; chip warm, 61.5 degrees\n");
}

TEST_F(CommandsTest, StatusNamesEachKindOfControl) {
    const auto control = [&](bool isHeld, bool isAddingAir, bool lidHasFan) {
        show(FanSnapshot{1, 0, 0, 0, 0, isHeld, "cool", 45, isAddingAir, lidHasFan});
        out.str("");
        commands::status(helper, terminal, false);
        return out.str();
    };
    EXPECT_THAT(control(false, false, false), HasSubstr("; automatic;"));
    EXPECT_THAT(control(true, true, false), HasSubstr("; held, with added air for a hot chip;"));
    EXPECT_THAT(control(false, false, true), HasSubstr("; handed back while the lid is closed;"));
}

TEST_F(CommandsTest, StatusLeavesOutAMissingChipReadingAndTellsOfNoFans) {
    show(FanSnapshot{0, 0, 0, 0, 0, false, "cool", std::nullopt, false, false});
    commands::status(helper, terminal, false);
    EXPECT_EQ(out.str(), "no usable fan; automatic; chip cool\n");
}

TEST_F(CommandsTest, StatusAsJSONIsTheHelpersOwn) {
    commands::status(helper, terminal, true);
    const auto& json = service->snapshot;
    EXPECT_EQ(out.str(), std::string(json->begin(), json->end()) + "\n");
}

TEST_F(CommandsTest, StatusWithoutASnapshotIsARefusal) {
    service->snapshot.reset();
    EXPECT_THROW(commands::status(helper, terminal, false), HelperRefused);
    EXPECT_THROW(commands::status(helper, terminal, true), HelperRefused);
}

TEST_F(CommandsTest, HoldStaysUntilItIsAskedToStopAndHandsBack) {
    commands::hold(helper, terminal, 0.5, true);
    EXPECT_THAT(service->holds(), ElementsAre(Pair(0.5, true)));
    EXPECT_THAT(service->requests(), ElementsAre("hold", "helperVersion", "helperVersion", "handBack"));
    EXPECT_EQ(out.str(), "Holding at 50%. Ctrl-C hands the fan back.\nThe fan is under automatic control.\n");
}

TEST_F(CommandsTest, HoldShowsALiveLineOnATerminal) {
    terminal.isInteractive = true;
    commands::hold(helper, terminal, 0.5, false);
    EXPECT_THAT(service->holds(), ElementsAre(Pair(0.5, false)));
    EXPECT_THAT(service->requests(), ElementsAre("hold", "fetchSnapshot", "fetchSnapshot", "handBack"));
    EXPECT_THAT(out.str(), HasSubstr("\r\033[K3598 RPM, target 3600"));
}

TEST_F(CommandsTest, AHoldOnATerminalGoesOnWithoutAReading) {
    terminal.isInteractive = true;
    service->snapshot.reset();
    commands::hold(helper, terminal, 0.5, false);
    EXPECT_THAT(service->requests(), ElementsAre("hold", "fetchSnapshot", "fetchSnapshot", "handBack"));
    EXPECT_THAT(out.str(), HasSubstr("\r\033[KThis Mac has no controllable fan, or its readings are not available."));
}

TEST_F(CommandsTest, ARefusedHoldTellsTheHelpersText) {
    service->error = "This Mac has no controllable fan.";
    try {
        commands::hold(helper, terminal, 0.5, false);
        FAIL() << "nothing was thrown";
    } catch (const HelperRefused& refusal) {
        EXPECT_STREQ(refusal.what(), "This Mac has no controllable fan.");
    }
    EXPECT_EQ(out.str(), "");
}

TEST_F(CommandsTest, AHoldWhoseHelperGoesAwayEnds) {
    service->answer = [this](const std::function<void()>& reply) {
        if (service->requests().size() <= 2)
            reply(); // after that the helper has gone
    };
    pausesUntilStop = 100;
    EXPECT_THROW(commands::hold(helper, terminal, 0.5, false), HelperUnreachable);
    EXPECT_EQ(pauses, 1);
}

TEST_F(CommandsTest, TheOtherRequestsSayWhatTheyDid) {
    commands::handBack(helper, terminal);
    commands::version(helper, terminal);
    service->version = 7;
    commands::version(helper, terminal);
    commands::standDown(helper, terminal);
    EXPECT_THAT(service->requests(), ElementsAre("handBack", "helperVersion", "helperVersion", "standDown"));
    EXPECT_EQ(out.str(), "The fan is under automatic control.\n"
                         "The helper's interface version is 6, the same as this program's.\n"
                         "The helper's interface version is 7; this program's is 6.\n"
                         "The helper is handing the fan back and exiting.\n");
}

TEST_F(CommandsTest, WatchPrintsALineEachSecondUntilItIsAskedToStop) {
    pausesUntilStop = 3;
    commands::watch(helper, terminal);
    EXPECT_EQ(service->requests().size(), 3U);
    EXPECT_THAT(out.str(), HasSubstr("3598 RPM, target 3600, range 1200...6000; held; chip warm, 61.5 degrees\n3598"));
}

} // namespace
} // namespace kelo
