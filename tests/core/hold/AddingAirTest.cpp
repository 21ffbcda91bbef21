#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "core/hold/ThermalFloor.h"
#include "tests/core/hold/HoldFixture.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AddingAir : public HoldFixture {
protected:
    /// Ticks often enough to replace the whole history with fresh readings.
    void settle() { queue.runFor(2.0 * ThermalFloor::smoothingWindow * 4); }

    /// Runs a tick. Returns its events and its chip readings, one for each evaluation, in order.
    Trace evaluationsOfTick() {
        takeTrace();
        tick();
        auto evaluations = takeTrace();
        std::erase_if(evaluations, [](const std::string& entry) {
            return entry != "Tp09?" && entry.find_first_of("?=") != std::string::npos;
        });
        return evaluations;
    }
};

TEST_F(AddingAir, AnnouncesAHotChipBeforeTheEngagement) {
    setChip(96);
    hold = makeHold(0.3);
    hold->start();
    EXPECT_EQ(takeEffects(), Trace({"addingAir(fraction: 0.5)"}) + takeFans(0.5) +
                                 Trace({"engaged(fraction: 0.3, neededUnlock: false)"}));
    EXPECT_TRUE(hold->isAddingAir());
}

TEST_F(AddingAir, AnnouncesAddingAirEvenIfTheEngagementFails) {
    setChip(96);
    fans->unlockTimeout = 0;
    controller.answer("F0Md", SMCCommand::writeBytes, 0x82);
    hold = makeHold(0.3);
    EXPECT_THROW(hold->start(), FanError);
    EXPECT_EQ(takeEvents(), Trace({"addingAir(fraction: 0.5)"}));
    EXPECT_TRUE(hold->isAddingAir());
}

TEST_F(AddingAir, AddsNoAirWhenTheAskedFractionIsAboveTheFloor) {
    setChip(96);
    hold = makeHold(0.8);
    hold->start();
    EXPECT_EQ(takeEvents(), Trace({"engaged(fraction: 0.8, neededUnlock: false)"}));
    EXPECT_FALSE(hold->isAddingAir());
}

TEST_F(AddingAir, StartsWhenTheFloorExceedsTheAskedFractionByMoreThanAThousandth) {
    const double floor = ThermalFloor::fraction(93);
    setChip(93);
    startHold(floor - 0.001);
    EXPECT_FALSE(hold->isAddingAir());
    hold->stop();
    startHold(floor - 0.0011);
    EXPECT_TRUE(hold->isAddingAir());
}

TEST_F(AddingAir, LowersTheHeldFractionByOneStepPerEvaluation) {
    setChip(96);
    startHold(0.3);
    setChip(-1000); // the mean is now far below the curve
    // Each tick takes one step to detect the drift and another to lower the fans: 0.46, 0.42, 0.38, 0.34.
    EXPECT_EQ(effectsOfTick(), Trace({"F0Md=1", "F0Tg=3408.0", "F1Md=1", "F1Tg=3178.0"}));
    EXPECT_EQ(effectsOfTick(), Trace({"F0Md=1", "F0Tg=3216.0", "F1Md=1", "F1Tg=3006.0"}));
    EXPECT_EQ(effectsOfTick(), Trace({"F0Md=1", "F0Tg=3024.0", "F1Md=1", "F1Tg=2834.0"}));
    EXPECT_EQ(effectsOfTick(), Trace({"F0Md=1", "F0Tg=2832.0", "F1Md=1", "F1Tg=2662.0"}));
    EXPECT_TRUE(hold->isAddingAir());
    // The tenth step would reach 0.2999999999999998.
    EXPECT_EQ(effectsOfTick(), Trace({"backToAsked", "F0Md=1", "F0Tg=2640.0", "F1Md=1", "F1Tg=2490.0"}));
    EXPECT_FALSE(hold->isAddingAir());
    EXPECT_THAT(effectsOfTick(), IsEmpty());
}

TEST_F(AddingAir, EndsWhenTheFractionIsExactlyAThousandthAboveTheAskedOne) {
    const double ninthStep = 0.31999999999999984; // starting from 0.5
    const double thousandthBelow = ninthStep - 0.001;
    ASSERT_EQ(thousandthBelow + 0.001, ninthStep);
    setChip(96);
    startHold(thousandthBelow);
    setChip(-1000);
    for (int i = 0; i < 4; ++i)
        tick();
    EXPECT_EQ(evaluationsOfTick(), Trace({"Tp09?", "backToAsked", "Tp09?"})); // the ninth and tenth steps
}

TEST_F(AddingAir, ContinuesWhileTheFractionIsMoreThanAThousandthAboveTheAskedOne) {
    const double ninthStep = 0.31999999999999984;
    const double lower = std::nextafter(ninthStep - 0.001, 0.0);
    ASSERT_LT(lower + 0.001, ninthStep);
    setChip(96);
    startHold(lower);
    setChip(-1000);
    for (int i = 0; i < 4; ++i)
        tick();
    EXPECT_EQ(evaluationsOfTick(), Trace({"Tp09?", "Tp09?", "backToAsked"}));
}

TEST_F(AddingAir, ItsEndIsAnnouncedBeforeARepairInTheSameTick) {
    setChip(96);
    startHold(0.49);
    setChip(-1000);
    controller.setNumber("F1Md", 0);
    EXPECT_EQ(effectsOfTick(), Trace({"backToAsked"}) + takeFans(0.49) + Trace({"reasserted"}));
}

TEST_F(AddingAir, MayBeginInTheTickThatResumesTheHold) {
    clamshell.state = true;
    startHold(0.3, true);
    clamshell.state = false;
    setChip(96);
    EXPECT_EQ(effectsOfTick(), Trace({"addingAir(fraction: 0.5)"}) + takeFans(0.5) + Trace({"resumed"}));
}

TEST_F(AddingAir, MayBeginOnTheWakeThatResumesTheHold) {
    startHold(0.3);
    power.send(willSleep, 7);
    setChip(45 + 51 * 2); // the mean of this and the previous reading is 96
    takeTrace();
    power.send(hasPoweredOn);
    EXPECT_EQ(takeEffects(), Trace({"woke", "addingAir(fraction: 0.5)"}) + takeFans(0.5) + Trace({"resumed"}));
}

TEST_F(AddingAir, WritesOnlyEveryOtherStepIfTheRangeIs1000RPM) {
    // A step of 0.02 is 20 RPM, which is too little for a write. Two steps are enough.
    for (const auto* key : {"F0Mx", "F1Mx"})
        controller.setNumber(key, 2200);
    setChip(96);
    startHold(0.3);
    setChip(-1000);
    const auto takeSmallFans = [](double fraction) {
        const auto target = "Tg=" + speed(1200, 2200, fraction);
        return Trace({"F0Md=1", "F0" + target, "F1Md=1", "F1" + target});
    };
    const double firstStep = 0.5 - 0.02;
    const double writtenStep = firstStep - 0.02 - 0.02; // one step in the tick that sees 40 RPM, one in the engagement
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    EXPECT_EQ(effectsOfTick(), takeSmallFans(writtenStep));
}

TEST_F(AddingAir, RaisesTheFanSpeedAtOnce) {
    startHold(0.3);
    setChip(45 + (96 - 45) * 2); // the mean of 45 and this reading is 96
    EXPECT_EQ(effectsOfTick(),
              Trace({"addingAir(fraction: 0.5)"}) + takeFans(ThermalFloor::fraction((45 + 147 + 147) / 3.0)));
}

TEST_F(AddingAir, AnnouncesNothingWhileOnlyTheAmountOfAirVaries) {
    setChip(96);
    startHold(0.3);
    setChip(98.5);
    settle();
    setChip(94);
    settle();
    EXPECT_THAT(takeEvents(), IsEmpty());
    EXPECT_TRUE(hold->isAddingAir());
}

TEST_F(AddingAir, AveragesEightReadings) {
    setChip(80);
    startHold(0.0);
    for (int i = 0; i < 20; ++i)
        tick();
    takeTrace();
    // The mean of seven readings of 80 and one of 180 is 92.5, halfway between 89 and 96. With one reading more or
    // fewer it would be 91.1 or 94.3.
    setChip(180);
    tick();
    EXPECT_EQ(takeEvents(), Trace({"addingAir(fraction: 0.27)"}));
}

TEST_F(AddingAir, UsesTheOlderReadingsWhileNewOnesAreMissing) {
    setChip(96);
    startHold(0.3);
    controller.remove("Tp09");
    for (int i = 0; i < 50; ++i)
        tick();
    EXPECT_THAT(takeEffects(), IsEmpty());
    EXPECT_TRUE(hold->isAddingAir());
}

TEST_F(AddingAir, HoldsTheAskedFractionWithoutAnyReading) {
    controller.remove("Tp09");
    hold = makeHold(0.3);
    hold->start();
    EXPECT_EQ(takeEffects(), takeFans(0.3) + Trace({"engaged(fraction: 0.3, neededUnlock: false)"}));
    EXPECT_THAT(effectsOfTick(), IsEmpty());
}

TEST_F(AddingAir, UsesASensorThatBecomesReadableAgain) {
    controller.remove("Tp09");
    startHold(0.3);
    tick();
    controller.defineNumber("Tp09", smc_type::flt, 96);
    EXPECT_EQ(effectsOfTick(), Trace({"addingAir(fraction: 0.5)"}) + takeFans(0.5));
}

TEST_F(AddingAir, UsesTheSecondSensorWhileTheFirstIsMissing) {
    startHold(0.3);
    controller.remove("Tp09");
    controller.defineNumber("Tp0T", smc_type::flt, 147);
    EXPECT_EQ(effectsOfTick().at(0), "addingAir(fraction: 0.5)");
}

TEST_F(AddingAir, LowersTheFractionStepByStepAfterANaNReading) {
    setChip(96);
    startHold(0.3);
    setChip(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(effectsOfTick(), takeFans(0.5 - 0.02 - 0.02));
    setChip(96);
    for (int i = 0; i < 3; ++i) // the mean stays NaN until the NaN reading has left the history
        tick();
    EXPECT_TRUE(hold->isAddingAir());
    takeTrace();
    for (int i = 0; i < 8; ++i)
        tick();
    EXPECT_EQ(controller.number("F0Tg"), 3600);
}

TEST_F(AddingAir, SmoothsASpike) {
    setChip(60);
    startHold(0.2);
    for (int i = 0; i < 7; ++i)
        tick();
    takeTrace();
    setChip(120);
    tick();
    setChip(60);
    for (int i = 0; i < 10; ++i)
        tick();
    EXPECT_THAT(takeEffects(), IsEmpty());
}

TEST_F(AddingAir, StartsANewHoldWithAnEmptyHistory) {
    setChip(96);
    startHold(0.3);
    hold->stop();
    setChip(45);
    hold = makeHold(0.3);
    takeTrace();
    hold->start();
    EXPECT_EQ(takeEffects(), takeFans(0.3) + Trace({"engaged(fraction: 0.3, neededUnlock: false)"}));
}

TEST_F(AddingAir, KeepsItsStateAfterAStop) {
    setChip(96);
    startHold(0.3);
    hold->stop();
    EXPECT_TRUE(hold->isAddingAir());
    EXPECT_EQ(takeEvents(), Trace({"released"}));
}

TEST_F(AddingAir, ContinuesEasingAfterAYield) {
    setChip(96);
    startHold(0.3, true);
    clamshell.state = true;
    tick();
    setChip(-1000);
    for (int i = 0; i < 30; ++i)
        tick(); // neither reads nor eases while the hold is yielded
    takeTrace();
    clamshell.state = false;
    tick();
    // The re-engagement, the drift check and the repair each take one step.
    EXPECT_EQ(takeEffects(), takeFans(0.5 - 0.02) + Trace({"resumed"}) + takeFans(0.5 - 0.02 - 0.02 - 0.02));
}

} // namespace
} // namespace kelo
