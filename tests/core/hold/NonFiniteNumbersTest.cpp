// Tests a hold with NaN, with infinities, and with fans that disappear and reappear.

#include <gmock/gmock.h>

#include <limits>

#include "tests/core/hold/HoldFixture.h"

namespace kelo {
namespace {

using ::testing::IsEmpty;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

class NonFiniteNumbers : public HoldFixture {
protected:
    static Trace takeFirstFan(const std::string& speed) { return {"F0Md=1", "F0Tg=" + speed}; }
};

TEST_F(NonFiniteNumbers, HoldsANaNFractionAtTheFloorIfThereIsAReading) {
    hold = makeHold(nan);
    hold->start();
    EXPECT_EQ(takeEffects(),
              Trace({"F0Md=1", "F0Tg=1200.0", "F1Md=1", "F1Tg=1200.0", "engaged(fraction: nan, neededUnlock: false)"}));
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    setChip(45 + 51 * 3); // the mean of this and the two previous readings is 96
    EXPECT_EQ(effectsOfTick().at(1), "F0Tg=6000.0");
    EXPECT_FALSE(hold->isAddingAir()); // no speed is faster than NaN
}

TEST_F(NonFiniteNumbers, WritesANaNFractionUnchangedWithoutAReading) {
    controller.remove("Tp09");
    hold = makeHold(nan);
    hold->start();
    EXPECT_EQ(takeEffects(),
              Trace({"F0Md=1", "F0Tg=nan", "F1Md=1", "F1Tg=nan", "engaged(fraction: nan, neededUnlock: false)"}));
    EXPECT_FALSE(hold->isAddingAir());
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    // A comparison with a NaN target shows no drift. The hold therefore replaces the target only when it retakes the
    // fans for another reason.
    controller.defineNumber("Tp09", smc_type::flt, 45);
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    controller.setNumber("F1Md", 0);
    EXPECT_EQ(effectsOfTick(), Trace({"F0Md=1", "F0Tg=1200.0", "F1Md=1", "F1Tg=1200.0", "reasserted"}));
    EXPECT_FALSE(hold->isAddingAir());
}

TEST_F(NonFiniteNumbers, HoldsFullSpeedWhileAnInfiniteReadingIsInTheHistory) {
    startHold(0.3);
    setChip(infinity);
    EXPECT_EQ(effectsOfTick(), Trace({"addingAir(fraction: 1.0)"}) + takeFans(1));
    setChip(45);
    for (int reading = 1; reading < 8; ++reading)
        EXPECT_THAT(effectsOfTick(), IsEmpty()) << reading;
    EXPECT_EQ(effectsOfTick(), takeFans(0.96));
    EXPECT_TRUE(hold->isAddingAir());
}

TEST_F(NonFiniteNumbers, HasNoFloorWhileMinusInfinityIsInTheHistory) {
    setChip(96);
    startHold(0.42);
    setChip(-infinity);
    EXPECT_EQ(effectsOfTick(), takeFans(0.46));
    setChip(96);
    EXPECT_EQ(effectsOfTick(), Trace({"backToAsked"}) + takeFans(0.42));
    for (int reading = 3; reading < 8; ++reading)
        EXPECT_THAT(effectsOfTick(), IsEmpty()) << reading;
    EXPECT_EQ(effectsOfTick(), Trace({"addingAir(fraction: 0.5)"}) + takeFans(0.5));
}

TEST_F(NonFiniteNumbers, HasNoFloorWithInfinitiesOfBothSigns) {
    startHold(0.3);
    setChip(infinity);
    tick();
    setChip(-infinity);
    EXPECT_EQ(effectsOfTick(), takeFans(0.96));
}

TEST_F(NonFiniteNumbers, DoesNotTreatANaNTargetAsDrift) {
    startHold(0.5);
    controller.setNumber("F0Tg", nan);
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    controller.setNumber("F1Tg", 1200); // the drift of the other fan retakes both
    EXPECT_EQ(effectsOfTick(), takeFans(0.5));
}

TEST_F(NonFiniteNumbers, TreatsAnInfiniteTargetAsDrift) {
    startHold(0.5);
    for (const double target : {infinity, -infinity}) {
        controller.setNumber("F0Tg", target);
        EXPECT_EQ(effectsOfTick(), takeFans(0.5)) << target;
    }
}

TEST_F(NonFiniteNumbers, ComparesTheSpeedIfTheTargetCannotBeRead) {
    startHold(0.5);
    controller.answer("F0Tg", SMCCommand::readBytes, 0x84);
    controller.setNumber("F0Ac", 3600 + 25);
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    controller.setNumber("F0Ac", 3600 + 26);
    EXPECT_EQ(effectsOfTick(), takeFans(0.5));
}

TEST_F(NonFiniteNumbers, LeavesAMissingFanAloneAndHoldsTheOther) {
    startHold(0.5);
    controller.remove("F1Ac");
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    controller.setNumber("F0Md", 0);
    controller.setNumber("F1Tg", 1200);
    EXPECT_EQ(effectsOfTick(), takeFirstFan("3600.0") + Trace({"reasserted"}));
    hold->stop();
    EXPECT_FALSE(isAnyManual()); // also hands back the fan that had disappeared
}

TEST_F(NonFiniteNumbers, TakesANewFanAndReportsARepair) {
    controller.remove("F1Ac");
    hold = makeHold(0.5);
    hold->start();
    EXPECT_EQ(takeEffects(), takeFirstFan("3600.0") + Trace({"engaged(fraction: 0.5, neededUnlock: false)"}));
    controller.defineNumber("F1Ac", smc_type::flt, 1200);
    EXPECT_EQ(effectsOfTick(), takeFans(0.5) + Trace({"reasserted"}));
    EXPECT_THAT(effectsOfTick(), IsEmpty());
}

TEST_F(NonFiniteNumbers, DoesNotRetakeAReappearedFanThatIsStillManual) {
    startHold(0.5);
    controller.remove("F1Ac");
    tick();
    controller.defineNumber("F1Ac", smc_type::flt, 3350);
    EXPECT_THAT(effectsOfTick(), IsEmpty());
    EXPECT_TRUE(isManual(1));
}

} // namespace
} // namespace kelo
