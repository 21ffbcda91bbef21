#include "client/Hold.h"

#include <gmock/gmock.h>

#include <memory>

#include "client/Readings.h"
#include "tests/client/ScriptedTerminal.h"
#include "tests/conformance/ScriptedHelper.h"
#include "tests/support/LoopbackConnection.h"

namespace kelo {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;
using ::testing::StartsWith;

class HoldTest : public ::testing::Test {
protected:
    HoldTest() { show(true, false, false); }

    void show(bool isHeld, bool isAddingAir, bool lidHasFan) {
        service->snapshot =
            FanSnapshot{2, 3598.4, 1200, 6000, 3600, isHeld, "warm", 61.5, isAddingAir, lidHasFan}.encoded();
    }
    void hold(const commands::HoldRequest& request) { commands::hold(helper, terminal, request); }

    const std::shared_ptr<ScriptedHelper> service = std::make_shared<ScriptedHelper>();
    LoopbackConnection helper{service, [](LoopbackConnection&) {}};
    ScriptedTerminal terminal;
};

TEST_F(HoldTest, StaysUntilItIsAskedToStopAndHandsBack) {
    hold({0.5, true, {}});
    EXPECT_THAT(service->holds(), ElementsAre(Pair(0.5, true)));
    EXPECT_THAT(service->requests(), ElementsAre("hold", "fetchSnapshot", "fetchSnapshot", "handBack"));
    EXPECT_EQ(terminal.printed, "Holding at 50%. Ctrl-C hands the fan back.\nThe fan is under automatic control.\n");
    EXPECT_EQ(terminal.seconds, 1001);
}

TEST_F(HoldTest, ForAWhileEndsByItself) {
    terminal.waitsUntilStop = 100;
    hold({0.5, false, 90});
    EXPECT_EQ(terminal.seconds, 1090);
    EXPECT_EQ(service->requests().back(), "handBack");
    EXPECT_EQ(terminal.printed, "Holding at 50% for 1 m 30 s. Ctrl-C hands the fan back sooner.\n"
                                "The fan is under automatic control.\n");
}

TEST_F(HoldTest, ForAWhileEndsAtOnceAfterTheMachineHasSlept) {
    terminal.waitsUntilStop = 100;
    terminal.onWait = [&](int) {
        terminal.seconds += 10'000;
        return Woken::byTime;
    };
    hold({0.5, false, 3600});
    EXPECT_EQ(terminal.waits, 1);
    EXPECT_EQ(service->requests().back(), "handBack");
}

TEST_F(HoldTest, SaysWhenItYieldsAddsAirAndResumes) {
    terminal.waitsUntilStop = 7;
    terminal.onWait = [&](int wait) {
        const bool isLidClosed = wait == 1 || wait == 2;
        show(!isLidClosed, wait == 4, isLidClosed);
        return Woken::byTime;
    };
    hold({0.5, true, {}});
    EXPECT_EQ(terminal.printed, "Holding at 50%. Ctrl-C hands the fan back.\n"
                                "The lid is closed: the fan is handed back until it opens.\n"
                                "The lid is open: the fan is held again, target 3600 RPM, 50 %.\n"
                                "The chip is hot: the fan gets more air than asked for.\n"
                                "The chip has cooled: the fan is back at the speed asked for.\n"
                                "The fan is under automatic control.\n");
}

TEST_F(HoldTest, SaysAtOnceWhatIsSoFromTheBeginning) {
    show(false, false, true);
    hold({0.5, true, {}});
    EXPECT_THAT(terminal.printed, HasSubstr("hands the fan back.\nThe lid is closed"));
}

TEST_F(HoldTest, SaysThatSomebodyElseHasEndedIt) {
    terminal.onWait = [&](int) {
        show(false, false, false);
        return Woken::byTime;
    };
    hold({0.5, false, {}});
    EXPECT_THAT(terminal.printed, HasSubstr("The fan is handed back: it is under automatic control.\n"));
}

TEST_F(HoldTest, DrawsTheLiveViewOnATerminal) {
    terminal.takesDrawing = true;
    hold({0.5, false, {}});
    EXPECT_THAT(service->requests(), ElementsAre("hold", "fetchSnapshot", "fetchSnapshot", "handBack"));
    ASSERT_EQ(terminal.drawings.size(), 2U);
    EXPECT_THAT(terminal.drawings[0], Contains(StartsWith("speed      ")));
    EXPECT_EQ(terminal.drawings[0].back(), "Holding at 50%. Ctrl-C hands the fan back.");
    EXPECT_FALSE(terminal.isDrawing);
    EXPECT_THAT(terminal.printed, HasSubstr("The fan is under automatic control.\n"));
}

TEST_F(HoldTest, AMissingReadingDoesNotEndIt) {
    service->snapshot.reset();
    terminal.takesDrawing = true;
    hold({0.5, false, {}});
    EXPECT_THAT(service->requests(), ElementsAre("hold", "fetchSnapshot", "fetchSnapshot", "handBack"));
    EXPECT_EQ(terminal.drawings[0].front(), "This Mac has no controllable fan, or its readings are not available.");
}

TEST_F(HoldTest, ARefusedOneTellsTheHelpersText) {
    service->error = "This Mac has no controllable fan.";
    try {
        hold({0.5, false, {}});
        FAIL() << "nothing was thrown";
    } catch (const HelperRefused& refusal) {
        EXPECT_STREQ(refusal.what(), "This Mac has no controllable fan.");
    }
    EXPECT_EQ(terminal.printed, "");
}

TEST_F(HoldTest, EndsAndGivesTheScreenBackWhenItsHelperGoesAway) {
    service->answer = [this](const std::function<void()>& reply) {
        if (service->requests().size() <= 2)
            reply(); // after that the helper has gone
    };
    terminal.takesDrawing = true;
    terminal.waitsUntilStop = 100;
    EXPECT_THROW(hold({0.5, false, {}}), HelperUnreachable);
    EXPECT_EQ(terminal.waits, 1);
    EXPECT_EQ(terminal.drawings.size(), 1U);
    EXPECT_FALSE(terminal.isDrawing);
}

} // namespace
} // namespace kelo
