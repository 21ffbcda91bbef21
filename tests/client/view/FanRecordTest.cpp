#include "client/view/FanRecord.h"

#include <gmock/gmock.h>

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct State {
    bool isHeld = false;
    bool isAddingAir = false;
    bool lidHasFan = false;
    double targetRPM = 3000;
    double maxRPM = 5000;
};

class FanRecordTest : public ::testing::Test {
protected:
    std::vector<std::string> observe(const State& state) { return observeBy(record, state); }
    std::vector<std::string> observeFirst(const State& state) {
        FanRecord fresh;
        return observeBy(fresh, state);
    }
    std::vector<std::string> observeBy(FanRecord& observer, const State& state) {
        seconds += 1;
        return observer.observe({2, 2000, 1000, state.maxRPM, state.targetRPM, state.isHeld, "cool", 65,
                                 state.isAddingAir, state.lidHasFan},
                                {seconds, "10:00:00"});
    }

    FanRecord record;
    double seconds = 0;
};

TEST_F(FanRecordTest, FirstReadingReportsOnlyAWaitingHoldOrAHotChip) {
    EXPECT_THAT(observeFirst({}), IsEmpty());
    EXPECT_THAT(observeFirst({.isHeld = true}), IsEmpty());
    EXPECT_THAT(observeFirst({.lidHasFan = true}),
                ElementsAre("Waiting: the lid is closed, or the fans could not be taken again."));
    EXPECT_THAT(observeFirst({.isHeld = true, .isAddingAir = true}),
                ElementsAre("The chip is hot: the fans run faster than asked."));
}

TEST_F(FanRecordTest, ReportsTheStartTheSpeedChangeAndTheEndOfAHold) {
    observe({});
    EXPECT_THAT(observe({.isHeld = true}), ElementsAre("The fans are held: target 3000 RPM, 50 %."));
    EXPECT_THAT(observe({.isHeld = true}), IsEmpty());
    EXPECT_THAT(observe({.isHeld = true, .targetRPM = 4000}),
                ElementsAre("The fans are held at another speed: target 4000 RPM, 75 %."));
    EXPECT_THAT(observe({}), ElementsAre("The fans are handed back: they are under automatic control."));
    EXPECT_THAT(observe({.targetRPM = 1000}), IsEmpty()) << "the system may choose any target";
}

TEST_F(FanRecordTest, ADifferentFastestFanIsNotASpeedChange) {
    observe({.isHeld = true});
    EXPECT_THAT(observe({.isHeld = true, .targetRPM = 4000, .maxRPM = 7000}), IsEmpty());
}

TEST_F(FanRecordTest, ReportsAHoldThatWaitsForTheLid) {
    observe({.isHeld = true});
    EXPECT_THAT(observe({.lidHasFan = true}),
                ElementsAre("Waiting: the lid is closed, or the fans could not be taken again."));
    EXPECT_THAT(observe({.isHeld = true}), ElementsAre("The fans are held again: target 3000 RPM, 50 %."));
    observe({.lidHasFan = true});
    EXPECT_THAT(observe({}), ElementsAre("The hold has ended: the fans are under automatic control."));
}

TEST_F(FanRecordTest, HotChipIsNotASpeedChange) {
    observe({.isHeld = true});
    EXPECT_THAT(observe({.isHeld = true, .isAddingAir = true, .targetRPM = 4000}),
                ElementsAre("The chip is hot: the fans run faster than asked."));
    EXPECT_THAT(observe({.isHeld = true, .isAddingAir = true, .targetRPM = 4500}), IsEmpty());
    EXPECT_THAT(observe({.isHeld = true}),
                ElementsAre("The chip has cooled: the fans are back at the speed asked for."));
}

TEST_F(FanRecordTest, ReportsAFailureOnceAndThenTheRecovery) {
    observe({.isHeld = true});
    EXPECT_THAT(record.observeFailure("Gone.", {5, "10:00:05"}), ElementsAre("Gone."));
    EXPECT_THAT(record.observeFailure("Gone.", {6, "10:00:06"}), IsEmpty());
    EXPECT_EQ(record.failure(), "Gone.");
    EXPECT_THAT(observe({}), ElementsAre("The helper answers again.",
                                         "The fans are handed back: they are under automatic control."));
    EXPECT_EQ(record.failure(), "");
    EXPECT_EQ(record.events().size(), 3U);
    EXPECT_EQ(record.events().front().text, "The fans are handed back: they are under automatic control.");
}

TEST_F(FanRecordTest, KeepsFifteenMinutesOfReadingsAndAHundredEvents) {
    for (int i = 0; i < 2000; ++i)
        observe({.isHeld = i % 2 == 0});
    EXPECT_EQ(record.samples().size(), 901U);
    EXPECT_EQ(record.samples().front().seconds, 1100);
    EXPECT_EQ(record.events().size(), 100U);
}

} // namespace
} // namespace kelo
