#include "client/Watch.h"

#include <gmock/gmock.h>

#include <memory>

#include "client/Readings.h"
#include "tests/client/ScriptedTerminal.h"
#include "tests/conformance/ScriptedHelper.h"
#include "tests/support/LoopbackConnection.h"

namespace kelo {
namespace {

using commands::WatchForm;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::StartsWith;

const std::string held = "3598 RPM, target 3600, range 1200...6000; held; chip warm, 61.5 degrees\n";

class WatchTest : public ::testing::Test {
protected:
    WatchTest() {
        service->snapshot = FanSnapshot{2, 3598.4, 1200, 6000, 3600, true, "warm", 61.5, false, false}.encoded();
        // The helper goes at the first wait and is back after the third.
        service->answer = [this](const std::function<void()>& reply) {
            if (isHelperThere)
                reply();
        };
    }
    void restartHelperMeanwhile() {
        terminal.waitsUntilStop = 6;
        terminal.onWait = [this](int wait) {
            isHelperThere = wait > 3;
            return Woken::byTime;
        };
    }
    std::unique_ptr<HelperConnection> connect() {
        ++connections;
        if (!isHelperThere)
            throw HelperUnreachable("The helper is not running.");
        return std::make_unique<LoopbackConnection>(service, [](LoopbackConnection&) {});
    }
    void watch(WatchForm form) {
        commands::watch([this] { return connect(); }, terminal, form);
    }

    const std::shared_ptr<ScriptedHelper> service = std::make_shared<ScriptedHelper>();
    bool isHelperThere = true;
    int connections = 0;
    ScriptedTerminal terminal;
};

TEST_F(WatchTest, PrintsALineEachSecondUntilItIsAskedToStop) {
    terminal.waitsUntilStop = 3;
    watch(WatchForm::live);
    EXPECT_EQ(terminal.printed, held + held + held);
    EXPECT_EQ(terminal.seconds, 1002);
    EXPECT_EQ(connections, 1);
}

TEST_F(WatchTest, PrintsLinesOnATerminalWhenItIsAskedTo) {
    terminal.takesDrawing = true;
    watch(WatchForm::lines);
    EXPECT_EQ(terminal.printed, held + held);
    EXPECT_THAT(terminal.drawings, SizeIs(0));
}

TEST_F(WatchTest, AsJSONPrintsTheHelpersOwnInALineEach) {
    terminal.takesDrawing = true;
    watch(WatchForm::json);
    const auto& json = service->snapshot;
    const auto line = std::string(json->begin(), json->end()) + "\n";
    EXPECT_EQ(terminal.printed, line + line);
}

TEST_F(WatchTest, DrawsAnewAtOnceWhenTheSizeChanges) {
    terminal.takesDrawing = true;
    terminal.waitsUntilStop = 3;
    terminal.onWait = [this](int wait) {
        terminal.screen = {40, 10};
        return wait == 1 ? Woken::byResize : Woken::byTime;
    };
    watch(WatchForm::live);
    ASSERT_THAT(terminal.drawings, SizeIs(3));
    EXPECT_THAT(terminal.drawings[0], SizeIs(24));
    EXPECT_THAT(terminal.drawings[1], SizeIs(10));
    EXPECT_EQ(service->requests().size(), 2U) << "a new size is no reason to ask the helper";
}

TEST_F(WatchTest, WithNothingToShowAtFirstEnds) {
    service->snapshot.reset();
    EXPECT_THROW(watch(WatchForm::live), HelperRefused);
    isHelperThere = false;
    EXPECT_THROW(watch(WatchForm::live), HelperUnreachable);
    EXPECT_EQ(terminal.waits, 0);
    EXPECT_FALSE(terminal.isDrawing);
}

TEST_F(WatchTest, SaysThatItWaitsForAHelperThatHasGoneAndGoesOn) {
    restartHelperMeanwhile();
    watch(WatchForm::lines);
    EXPECT_EQ(terminal.printed, held + "The helper has dropped the request. Waiting for it.\n" +
                                    "The helper is not running. Waiting for it.\n" + held + held);
}

TEST_F(WatchTest, DrawsThatItWaitsAndThatTheHelperIsBack) {
    terminal.takesDrawing = true;
    restartHelperMeanwhile();
    watch(WatchForm::live);
    EXPECT_EQ(terminal.drawings[2].front(), "The helper is not running. Waiting for it.");
    EXPECT_THAT(terminal.drawings[2], Contains(StartsWith("speed      "))) << "the last reading stays";
    EXPECT_THAT(terminal.drawings.back().front(), StartsWith("speed      "));
    EXPECT_THAT(terminal.drawings.back(), Contains(HasSubstr("The helper answers again.")));
}

TEST_F(WatchTest, AsJSONSaysElsewhereThatItWaits) {
    restartHelperMeanwhile();
    watch(WatchForm::json);
    EXPECT_EQ(terminal.complaints, "kelo: The helper has dropped the request. Waiting for it.\n"
                                   "kelo: The helper is not running. Waiting for it.\n");
    EXPECT_THAT(terminal.printed, StartsWith("{"));
}

TEST_F(WatchTest, AReadingThatIsMissingForAWhileDoesNotEndIt) {
    terminal.waitsUntilStop = 4;
    terminal.onWait = [this, snapshot = service->snapshot](int wait) {
        service->snapshot = wait == 3 ? snapshot : std::nullopt;
        return Woken::byTime;
    };
    watch(WatchForm::lines);
    EXPECT_EQ(terminal.printed, held + "This Mac has no controllable fan, or its readings are not available.\n" + held);
}

} // namespace
} // namespace kelo
