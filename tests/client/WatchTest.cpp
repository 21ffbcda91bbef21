#include <gmock/gmock.h>

#include "client/Commands.h"
#include "client/Readings.h"
#include "tests/client/ScriptedFans.h"
#include "tests/client/ScriptedTerminal.h"

namespace kelo {
namespace {

using commands::WatchForm;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

const std::string held = "3598 RPM, target 3600, range 1200...6000; held; chip warm, 61.5 degrees\n";

/// The expected line at a second of virtual time, with its time stamp.
std::string at(int second, const std::string& line) {
    return "2026-11-22T11:00:" + std::to_string(second) + "Z  " + line;
}

class WatchTest : public ::testing::Test {
protected:
    WatchTest() { surroundings.fans->isHeld = true; }

    void restartHelperMeanwhile() {
        terminal.waitsUntilStop = 6;
        terminal.onWait = [this](int wait) {
            surroundings.isHelperRunning = wait > 3;
            return Woken::byTime;
        };
    }
    void watch(WatchForm form, double interval = 1) { commands::watch(surroundings.all, terminal, form, interval); }

    ScriptedSurroundings surroundings;
    ScriptedTerminal terminal;
};

TEST_F(WatchTest, PrintsATimestampedLineEachSecondUntilAskedToStop) {
    terminal.waitsUntilStop = 3;
    watch(WatchForm::live);
    EXPECT_EQ(terminal.printed, at(40, held) + at(41, held) + at(42, held));
    EXPECT_EQ(surroundings.connections, 1);
}

TEST_F(WatchTest, UsesTheRequestedInterval) {
    terminal.waitsUntilStop = 3;
    watch(WatchForm::lines, 9);
    EXPECT_EQ(terminal.printed, at(40, held) + at(49, held) + at(58, held));
}

TEST_F(WatchTest, SlowReadingsDoNotDelayLaterReadings) {
    terminal.answerDelay = 0.25;
    terminal.waitsUntilStop = 5;
    watch(WatchForm::lines);
    EXPECT_EQ(terminal.printed, at(40, held) + at(41, held) + at(42, held) + at(43, held) + at(44, held));
}

TEST_F(WatchTest, PrintsTheHelpersJSONWithTheTime) {
    terminal.canDraw = true;
    watch(WatchForm::json);
    const auto json = surroundings.fans->current().encoded();
    const auto members = std::string(json.begin() + 1, json.end()) + "\n";
    EXPECT_EQ(terminal.printed,
              "{\"time\":\"2026-11-22T11:00:40Z\"," + members + "{\"time\":\"2026-11-22T11:00:41Z\"," + members);
}

TEST_F(WatchTest, RedrawsAtOnceWhenTheTerminalIsResized) {
    terminal.canDraw = true;
    terminal.waitsUntilStop = 3;
    terminal.onWait = [this](int wait) {
        terminal.screen = {40, 10};
        return wait == 1 ? Woken::byResize : Woken::byTime;
    };
    watch(WatchForm::live);
    ASSERT_THAT(terminal.drawings, SizeIs(3));
    EXPECT_THAT(terminal.drawings[0], SizeIs(24));
    EXPECT_THAT(terminal.drawings[1], SizeIs(10));
    EXPECT_THAT(surroundings.fans->requests(), ElementsAre("helperVersion", "fetchSnapshot", "fetchSnapshot"))
        << "resizing does not query the helper";
}

TEST_F(WatchTest, FailsIfTheFirstReadingFails) {
    surroundings.fans->hasReadings = false;
    EXPECT_THROW(watch(WatchForm::live), HelperRefused);
    surroundings.isHelperRunning = false;
    EXPECT_THROW(watch(WatchForm::live), HelperUnreachable);
    surroundings.isHelperRunning = true;
    surroundings.fans->version = 7;
    EXPECT_THROW(watch(WatchForm::live), OtherVersion);
    EXPECT_EQ(terminal.waits, 0);
    EXPECT_FALSE(terminal.isDrawing);
}

TEST_F(WatchTest, WaitsUntilTheHelperRestartsAndContinues) {
    restartHelperMeanwhile();
    watch(WatchForm::lines);
    EXPECT_EQ(terminal.printed, at(40, held) + "The helper has dropped the request. Waiting for the helper.\n" +
                                    "The helper is not running. Waiting for the helper.\n" + at(44, held) +
                                    at(45, held));
}

TEST_F(WatchTest, ShowsThatItWaitsAndTheTimeOfTheLastReading) {
    terminal.canDraw = true;
    restartHelperMeanwhile();
    watch(WatchForm::live);
    EXPECT_THAT(terminal.drawings[3], Contains("The helper is not running. Waiting for the helper."));
    EXPECT_THAT(terminal.drawings[3], Contains("The last reading is from 12:00:40."));
    EXPECT_THAT(terminal.drawings[3], Contains(StartsWith("speed      "))) << "the last reading stays";
    EXPECT_THAT(terminal.drawings.back(), Not(Contains(HasSubstr("The last reading"))));
    EXPECT_THAT(terminal.drawings.back(), Contains(HasSubstr("The helper answers again.")));
}

TEST_F(WatchTest, ShowsHowToHandTheFansBackWhileTheHelperIsSilent) {
    terminal.canDraw = true;
    terminal.waitsUntilStop = 100;
    terminal.onWait = [&](int) {
        terminal.onSilence = [&] { return terminal.seconds >= 1004 ? Woken::byStop : Woken::byTime; };
        return Woken::byTime;
    };
    watch(WatchForm::live);
    EXPECT_THAT(terminal.drawings.back(),
                Contains("Waiting for the helper. If it does not answer, this command hands the fans back:"));
    EXPECT_THAT(terminal.drawings.back(), Contains("  sudo launchctl kill SIGTERM system/app.kelo.helper"));
    EXPECT_THAT(terminal.drawings.back(), Contains("The last reading is from 12:00:40."));
    EXPECT_EQ(terminal.seconds, 1004) << "watch stops at once";
}

TEST_F(WatchTest, JSONWatchReportsWaitingOnStandardError) {
    restartHelperMeanwhile();
    watch(WatchForm::json);
    EXPECT_EQ(terminal.errors, "kelo: The helper has dropped the request. Waiting for the helper.\n"
                               "kelo: The helper is not running. Waiting for the helper.\n");
    EXPECT_THAT(terminal.printed, StartsWith("{"));
}

TEST_F(WatchTest, ContinuesAfterMissingReadings) {
    terminal.waitsUntilStop = 4;
    terminal.onWait = [this](int wait) {
        surroundings.fans->hasReadings = wait == 3;
        return Woken::byTime;
    };
    watch(WatchForm::lines);
    EXPECT_EQ(terminal.printed,
              at(40, held) + "This Mac has no controllable fan, or its readings are not available.\n" + at(43, held));
}

TEST_F(WatchTest, EndsWhenItsOutputFails) {
    terminal.outputFails.emplace("No space left on device", false);
    EXPECT_THROW(watch(WatchForm::json), OutputFailed);
}

} // namespace
} // namespace kelo
