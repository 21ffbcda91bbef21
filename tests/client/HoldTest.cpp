#include <gmock/gmock.h>

#include "client/Commands.h"
#include "client/Readings.h"
#include "tests/client/ScriptedFans.h"
#include "tests/client/ScriptedTerminal.h"

namespace kelo {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::Pair;
using ::testing::SizeIs;
using ::testing::StartsWith;

const std::string announcement = "Holding at 50%. Ctrl-C hands the fans back.\n";
const std::string ending = "The fans are under automatic control.\n";

class HoldTest : public ::testing::Test {
protected:
    int hold(const commands::HoldRequest& request) { return commands::hold(surroundings.all, terminal, request); }
    /// Returns the error of a hold that fails.
    std::string failureOf(const commands::HoldRequest& request) {
        try {
            hold(request);
        } catch (const std::exception& error) {
            return error.what();
        }
        return "";
    }
    /// Calls `change` during wait number `wait`. The user asks to stop `later` waits after that.
    void at(int wait, const std::function<void()>& change, int later = 6) {
        terminal.waitsUntilStop = wait + later;
        terminal.onWait = [wait, change](int number) {
            if (number == wait)
                change();
            return Woken::byTime;
        };
    }

    /// The helper does not run between the first and the fourth wait.
    void restartHelper() {
        terminal.waitsUntilStop = 10;
        terminal.onWait = [this](int wait) {
            if (wait == 1)
                surroundings.isHelperRunning = false;
            if (wait == 4) {
                surroundings.isHelperRunning = true;
                fans.show(false);
            }
            return Woken::byTime;
        };
    }

    ScriptedSurroundings surroundings;
    ScriptedFans& fans = *surroundings.fans;
    ScriptedTerminal terminal;
};

TEST_F(HoldTest, HoldsTheFansUntilAskedToStopThenHandsThemBack) {
    EXPECT_EQ(hold({0.5, true, {}, {}}), 0);
    EXPECT_THAT(fans.holds(), ElementsAre(Pair(0.5, true)));
    EXPECT_EQ(fans.requests().back(), "fetchSnapshot") << "checks the effect of the hand-back";
    EXPECT_EQ(terminal.printed, announcement + ending);
    EXPECT_TRUE(terminal.dropsBlockedOutput);
    EXPECT_EQ(terminal.seconds, 1001);
}

TEST_F(HoldTest, EndsAfterTheRequestedDuration) {
    terminal.waitsUntilStop = 100;
    hold({0.5, false, 90, {}});
    EXPECT_EQ(terminal.seconds, 1090);
    EXPECT_FALSE(fans.isHeld);
    EXPECT_EQ(terminal.printed, "Holding at 50% for 1 m 30 s. Ctrl-C hands the fans back sooner.\n" + ending);
}

TEST_F(HoldTest, EndsAtOnceIfTheDurationPassedDuringSleep) {
    terminal.waitsUntilStop = 100;
    terminal.onWait = [&](int) {
        terminal.seconds += 10'000;
        return Woken::byTime;
    };
    hold({0.5, false, 3600, {}});
    EXPECT_EQ(terminal.waits, 1);
    EXPECT_FALSE(fans.isHeld);
}

TEST_F(HoldTest, FailsIfAFanIsStillManualAtTheEnd) {
    fans.takesFansBack = false;
    EXPECT_THAT(failureOf({0.5, false, {}, {}}), StartsWith("A fan is still in manual mode"));
    EXPECT_EQ(terminal.printed, announcement);
}

TEST_F(HoldTest, ConvertsRPMToAFractionOfTheFansRange) {
    hold({RPM{3000}, false, {}, {}});
    EXPECT_THAT(fans.holds(), ElementsAre(Pair(0.375, false)));
    EXPECT_THAT(terminal.printed, StartsWith("Holding at 37.5%. "));
    EXPECT_EQ(failureOf({RPM{1000}, false, {}, {}}), "1000 RPM is outside the fan's range, 1200 to 6000 RPM.");
    EXPECT_EQ(failureOf({RPM{6001}, false, {}, {}}), "6001 RPM is outside the fan's range, 1200 to 6000 RPM.");
    EXPECT_THAT(fans.holds(), SizeIs(1));
}

TEST_F(HoldTest, FailsWithoutAUsableFan) {
    fans.fanCount = 0;
    EXPECT_EQ(failureOf({0.5, false, {}, {}}), "This Mac has no usable fan, so nothing is held.");
    EXPECT_EQ(fans.requests().back(), "handBack");
    EXPECT_EQ(terminal.printed, "");
}

TEST_F(HoldTest, WarnsIfTheChipTemperatureCannotBeRead) {
    fans.celsius.reset();
    hold({0.5, false, {}, {}});
    EXPECT_EQ(terminal.printed, announcement +
                                    "The temperature of the chip cannot be read: this hold does not raise the fans "
                                    "when the chip gets hot. Choose a speed that is enough for full load.\n" +
                                    ending);
}

TEST_F(HoldTest, ReportsWaitingResumingAndAHotChip) {
    terminal.waitsUntilStop = 7;
    terminal.onWait = [&](int wait) {
        const bool isLidClosed = wait == 1 || wait == 2;
        fans.show(!isLidClosed, wait == 4, isLidClosed);
        return Woken::byTime;
    };
    hold({0.5, true, {}, {}});
    EXPECT_EQ(terminal.printed, announcement +
                                    "Waiting: the lid is closed, or the fans could not be taken again.\n"
                                    "The fans are held again: target 3600 RPM, 50 %.\n"
                                    "The chip is hot: the fans run faster than asked.\n"
                                    "The chip has cooled: the fans are back at the speed asked for.\n" +
                                    ending);
}

TEST_F(HoldTest, ReportsReplacementByAnotherClientAndTheTimeLeft) {
    at(2, [&] { fans.fraction = 0.75; });
    hold({0.5, false, 90, {}});
    EXPECT_THAT(terminal.printed, HasSubstr("The fans are held at another speed: target 4800 RPM, 75 %.\n"));
    EXPECT_THAT(terminal.printed,
                HasSubstr("Another client has replaced this hold: target 4800 RPM, 75 % (1 m 25 s left).\n"));
}

TEST_F(HoldTest, ReportsTheEndAndTheResumptionOfTheHold) {
    terminal.waitsUntilStop = 9;
    terminal.onWait = [&](int wait) {
        fans.show(wait < 2 || wait > 6);
        return Woken::byTime;
    };
    hold({0.5, false, {}, {}});
    EXPECT_THAT(terminal.printed,
                HasSubstr("This hold is no longer in force: another client has ended it, or the Mac is about to "
                          "sleep.\nThe fans are held: target 3600 RPM, 50 %.\nThis hold is in force again.\n"));
}

TEST_F(HoldTest, DoesNotMistakeBriefInterferenceForAReplacement) {
    terminal.waitsUntilStop = 9;
    terminal.onWait = [&](int wait) {
        fans.fraction = wait % 4 == 0 ? 0.5 : 0.75;
        return Woken::byTime;
    };
    hold({0.5, false, {}, {}});
    EXPECT_THAT(terminal.printed, Not(HasSubstr("replaced")));
}

TEST_F(HoldTest, RequestsTheHoldAgainAfterAHelperRestart) {
    restartHelper();
    hold({0.5, true, {}, {}});
    EXPECT_THAT(fans.holds(), ElementsAre(Pair(0.5, true), Pair(0.5, true)));
    EXPECT_EQ(terminal.printed, announcement +
                                    "The helper has dropped the request. Waiting for the helper.\n"
                                    "The helper is not running. Waiting for the helper.\n"
                                    "The hold was requested again.\n"
                                    "The helper answers again.\n" +
                                    ending);
}

TEST_F(HoldTest, DoesNotRequestTheHoldAgainAfterAReplacement) {
    terminal.waitsUntilStop = 14;
    terminal.onWait = [&](int wait) {
        fans.fraction = 0.75;
        surroundings.isHelperRunning = wait != 8;
        return Woken::byTime;
    };
    hold({0.5, false, {}, {}});
    EXPECT_THAT(fans.holds(), SizeIs(1));
}

TEST_F(HoldTest, RetriesARefusedHoldAfterTenSeconds) {
    terminal.waitsUntilStop = 30;
    terminal.onWait = [&](int wait) {
        surroundings.isHelperRunning = wait != 1;
        if (wait == 2)
            fans.error = "Not now.";
        if (wait == 6)
            fans.error.reset();
        return Woken::byTime;
    };
    hold({0.5, false, {}, {}});
    EXPECT_THAT(fans.holds(), SizeIs(3));
    EXPECT_THAT(terminal.printed, HasSubstr("Not now.\n"));
    EXPECT_THAT(terminal.printed, EndsWith("The hold was requested again.\n" + ending));
}

TEST_F(HoldTest, AdvisesHandBackIfTheHelperIsNotRunningAtTheEnd) {
    at(
        1, [&] { surroundings.isHelperRunning = false; }, 2);
    EXPECT_THAT(failureOf({0.5, false, {}, {}}), EndsWith("once a helper runs, use kelo hand-back."));
}

TEST_F(HoldTest, ExplainsWhenASilentHelperHandsTheFansBack) {
    terminal.onWait = [&](int) {
        terminal.onSilence = [&] { return terminal.seconds >= 1003 ? Woken::byStop : Woken::byTime; };
        return Woken::byTime;
    };
    terminal.waitsUntilStop = 100;
    EXPECT_EQ(failureOf({0.5, false, {}, {}}), "The helper does not answer. It hands the fans back 8 seconds after it "
                                               "has noticed that kelo has exited.");
    EXPECT_THAT(terminal.errors,
                StartsWith("kelo: Waiting for the helper. If it does not answer, this command hands the fans "
                           "back:\n  sudo launchctl kill SIGTERM"));
}

TEST_F(HoldTest, DrawsTheLiveViewOnATerminal) {
    terminal.canDraw = true;
    hold({0.5, false, 90, {}});
    ASSERT_THAT(terminal.drawings, SizeIs(2));
    EXPECT_THAT(terminal.drawings[0][0], StartsWith(" kelo hold 50%, 1 m 30 s left   held "));
    EXPECT_THAT(terminal.drawings[0], Contains(StartsWith("speed      ")));
    EXPECT_EQ(terminal.drawings[0].back(), "q or Ctrl-C ends the hold and hands the fans back");
    EXPECT_FALSE(terminal.isDrawing);
    EXPECT_THAT(terminal.printed, EndsWith(ending));
}

TEST_F(HoldTest, ShowsThatTheHoldWasReplaced) {
    terminal.canDraw = true;
    at(1, [&] { fans.fraction = 0.75; });
    hold({0.5, false, {}, {}});
    EXPECT_THAT(terminal.drawings.back()[0], StartsWith(" kelo hold 50% (replaced by another hold)   held "));
    EXPECT_THAT(terminal.drawings.back(), Contains(HasSubstr("Another client has replaced this hold")));
}

TEST_F(HoldTest, ShowsThatItWillRequestTheHoldAgain) {
    terminal.canDraw = true;
    restartHelper();
    hold({0.5, false, {}, {}});
    EXPECT_THAT(terminal.drawings, Contains(Contains(StartsWith(" kelo hold 50% (waiting to request it again) "))));
    EXPECT_THAT(terminal.drawings.back(), Contains(HasSubstr("The hold was requested again.")));
    EXPECT_THAT(terminal.drawings.back()[0], StartsWith(" kelo hold 50%   held "));
}

TEST_F(HoldTest, ContinuesWithoutReadings) {
    at(
        1, [&] { fans.hasReadings = false; }, 2);
    EXPECT_THAT(failureOf({0.5, false, {}, {}}), HasSubstr("no reading confirms it"));
    EXPECT_EQ(fans.requests()[fans.requests().size() - 2], "handBack");
    EXPECT_THAT(terminal.printed, HasSubstr("its readings are not available.\n"));
}

TEST_F(HoldTest, ReportsTheHelpersRefusal) {
    fans.error = "This Mac has no controllable fan.";
    EXPECT_EQ(failureOf({0.5, false, {}, {}}), "This Mac has no controllable fan.");
    EXPECT_EQ(terminal.printed, "");
}

TEST_F(HoldTest, RefusesAHelperWithADifferentVersion) {
    fans.version = 5;
    EXPECT_THROW(hold({0.5, false, {}, {}}), OtherVersion);
    EXPECT_THAT(fans.holds(), SizeIs(0));
}

TEST_F(HoldTest, HandsTheFansBackBeforeReportingAnOutputFailure) {
    terminal.outputFails.emplace("No space left on device", false);
    EXPECT_THROW(hold({0.5, false, {}, {}}), OutputFailed);
    EXPECT_EQ(fans.requests().back(), "handBack");
}

// --- while a command runs

class HoldWhileACommandRuns : public HoldTest {
protected:
    HoldWhileACommandRuns() {
        surroundings.all.start = [this](const CommandWords& command) {
            started = command;
            isHeldAtStart = fans.isHeld;
            return Companion{[this] { return end; }, [this](int signal) { signals.push_back(signal); }};
        };
        terminal.canDraw = true; // must have no effect: the terminal belongs to the command
        terminal.waitsUntilStop = 100;
        terminal.onWait = [this](int wait) {
            if (wait == 3)
                end = 7;
            return Woken::byTime;
        };
    }

    CommandWords started;
    bool isHeldAtStart = false;
    std::optional<int> end;
    std::vector<int> signals;
};

TEST_F(HoldWhileACommandRuns, HandsTheFansBackAtTheEndAndReturnsTheCommandsStatus) {
    EXPECT_EQ(hold({0.8, false, {}, {"make", "-j8"}}), 7);
    EXPECT_THAT(started, ElementsAre("make", "-j8"));
    EXPECT_TRUE(isHeldAtStart);
    EXPECT_FALSE(fans.isHeld);
    EXPECT_EQ(terminal.seconds, 1003);
    EXPECT_EQ(terminal.printed, "") << "the output belongs to the command";
    EXPECT_EQ(terminal.errors, "kelo: Holding at 80%. The end of the command hands the fans back.\n"
                               "kelo: The fans are under automatic control.\n");
}

TEST_F(HoldWhileACommandRuns, DoesNotStartTheCommandIfTheHoldIsRefused) {
    fans.error = "Not now.";
    EXPECT_EQ(failureOf({0.8, false, {}, {"make"}}), "Not now.");
    EXPECT_THAT(started, ElementsAre());
}

TEST_F(HoldWhileACommandRuns, ContinuesAfterCtrlCUntilTheCommandEnds) {
    terminal.waitsUntilStop = 1;
    EXPECT_EQ(hold({0.8, false, {}, {"make"}}), 7);
    EXPECT_EQ(terminal.waits, 3);
    EXPECT_THAT(signals, ElementsAre()) << "the terminal sends SIGINT to both";
}

TEST_F(HoldWhileACommandRuns, ForwardsOtherSignalsToTheCommand) {
    terminal.waitsUntilStop = 1;
    terminal.asksToStopBy = SIGTERM;
    EXPECT_EQ(hold({0.8, false, {}, {"make"}}), 7);
    EXPECT_THAT(signals, ElementsAre(SIGTERM));
}

TEST_F(HoldWhileACommandRuns, CommandFailureTakesPrecedenceOverAManualFan) {
    fans.takesFansBack = false;
    EXPECT_EQ(hold({0.8, false, {}, {"make"}}), 7);
    EXPECT_THAT(terminal.errors, HasSubstr("A fan is still in manual mode"));
    fans.takesFansBack = false;
    terminal.waits = 0;
    end.reset();
    terminal.onWait = [this](int) {
        end = 0;
        return Woken::byTime;
    };
    EXPECT_THAT(failureOf({0.8, false, {}, {"make"}}), StartsWith("A fan is still in manual mode"));
}

} // namespace
} // namespace kelo
