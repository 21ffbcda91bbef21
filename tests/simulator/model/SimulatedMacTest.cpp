#include "simulator/model/SimulatedMac.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace kelo {
namespace {

class SimulatedMacTest : public ::testing::Test {
protected:
    double number(const char* key) { return mac.controller().number(key); }
    void write(const char* key, double value) { mac.controller().setNumber(key, value); }
    void waitFor(double seconds) { now += seconds; }

    double now = 0;
    SimulatedMac mac{*Profile::named("laptop"), [this] { return now; }};
};

TEST_F(SimulatedMacTest, AnIdleLaptopSettlesAtAbout45Degrees) {
    waitFor(600);
    EXPECT_NEAR(mac.chipCelsius(), 45, 2);
    EXPECT_NEAR(number("F0Ac"), 1200, 1);
    EXPECT_EQ(number("F0Md"), 0);
}

TEST_F(SimulatedMacTest, AutomaticControlSpeedsUpTheFansAsTheChipHeats) {
    mac.setLoad(1);
    waitFor(600);
    EXPECT_GT(mac.chipCelsius(), 75);
    EXPECT_LT(mac.chipCelsius(), 95);
    EXPECT_GT(number("F0Ac"), 3000);
    EXPECT_GT(number("F1Ac"), 3000);
    mac.setLoad(0);
    waitFor(600);
    EXPECT_NEAR(number("F0Ac"), 1200, 1);
}

TEST_F(SimulatedMacTest, TheChipGetsHotUnderFullLoadWithSlowFans) {
    write("F0Md", 1);
    write("F1Md", 1);
    mac.setLoad(1);
    waitFor(600);
    EXPECT_GT(mac.chipCelsius(), 101);
    EXPECT_NEAR(number("F0Ac"), 1200, 1);
}

TEST_F(SimulatedMacTest, AManualFanApproachesItsTargetWithInertia) {
    write("F0Md", 1);
    write("F0Tg", 6000);
    waitFor(1.55); // fifteen steps of the simulation
    EXPECT_NEAR(number("F0Ac"), 1200 + 4800 * (1 - std::exp(-1.0)), 60);
    waitFor(30);
    EXPECT_NEAR(number("F0Ac"), 6000, 1);
    EXPECT_NEAR(number("F1Ac"), 1200, 1);
}

TEST_F(SimulatedMacTest, TheSystemSetsTheTargetOfAnAutomaticFan) {
    write("F0Tg", 6000);
    waitFor(1);
    EXPECT_NEAR(number("F0Tg"), 1200, 1);
}

TEST_F(SimulatedMacTest, IgnoresATargetThatIsNotANumber) {
    write("F0Md", 1);
    write("F0Tg", std::numeric_limits<double>::quiet_NaN());
    waitFor(10);
    EXPECT_NEAR(number("F0Ac"), 1200, 1);
}

TEST_F(SimulatedMacTest, HeatSpeedMakesTheChipHeatFaster) {
    SimulatedMac fast(
        *Profile::named("laptop"), [this] { return now; }, 10);
    fast.setLoad(1);
    mac.setLoad(1);
    waitFor(5);
    EXPECT_GT(fast.chipCelsius(), mac.chipCelsius() + 10);
}

TEST_F(SimulatedMacTest, APinnedKeyKeepsItsValueUntilItIsReleased) {
    mac.pin("Tp09", 96);
    waitFor(100);
    EXPECT_EQ(number("Tp09"), 96);
    EXPECT_EQ(mac.chipCelsius(), 96);
    mac.unpin("Tp09");
    waitFor(600);
    EXPECT_LT(number("Tp09"), 60);
}

TEST_F(SimulatedMacTest, IgnoresANonfinitePinnedChipTemperature) {
    mac.setLoad(1);
    waitFor(600);
    const double before = mac.chipCelsius();
    for (const double nonsense : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                                  -std::numeric_limits<double>::infinity()}) {
        mac.pin("Tp09", nonsense);
        waitFor(10);
        EXPECT_FALSE(std::isfinite(number("Tp09")));
        EXPECT_EQ(number("Ts0S"), static_cast<double>(static_cast<float>(25 + (before - 25) / 4)));
        mac.unpin("Tp09");
        EXPECT_EQ(mac.chipCelsius(), before);
    }
    mac.setLoad(0);
    waitFor(600);
    EXPECT_NEAR(number("Tp09"), 45, 2);
    EXPECT_NEAR(number("F0Ac"), 1200, 1);
}

TEST_F(SimulatedMacTest, ContinuesAfterAPinnedKeyIsRemoved) {
    mac.pin("Tp09", 96);
    waitFor(10);
    mac.controller().remove("Tp09");
    waitFor(10);
    EXPECT_EQ(mac.chipCelsius(), 96);
    EXPECT_GT(number("F0Ac"), 5000); // automatic control continues
}

TEST_F(SimulatedMacTest, AFanWithANegativeTargetStops) {
    mac.interfereWithSpeed(0, -50'000);
    mac.interfereWithSpeed(1, -50'000);
    waitFor(60);
    EXPECT_NEAR(number("F0Ac"), 0, 1);
    mac.interfereWithMode(0, false);
    mac.interfereWithMode(1, false);
    waitFor(600);
    EXPECT_NEAR(mac.chipCelsius(), 45, 2);
}

TEST_F(SimulatedMacTest, DoesNotRestoreARemovedKey) {
    mac.controller().remove("Tp09");
    mac.controller().remove("F0Ac");
    waitFor(100);
    EXPECT_FALSE(mac.controller().has("Tp09"));
    EXPECT_FALSE(mac.controller().has("F0Ac"));
}

TEST_F(SimulatedMacTest, StopsTheFansAndCoolsTheChipDuringSleep) {
    mac.setLoad(1);
    waitFor(100);
    mac.setAsleep(true);
    waitFor(300);
    EXPECT_NEAR(number("F0Ac"), 0, 1);
    EXPECT_NEAR(mac.chipCelsius(), 25, 2);
    mac.setAsleep(false);
    waitFor(60);
    EXPECT_GE(number("F0Ac"), 1199);
}

TEST_F(SimulatedMacTest, InterferenceTakesOrHandsBackAFan) {
    mac.interfereWithSpeed(0, 3000);
    EXPECT_EQ(number("F0Md"), 1);
    EXPECT_EQ(number("F0Tg"), 3000);
    mac.interfereWithMode(0, false);
    EXPECT_EQ(number("F0Md"), 0);
}

TEST_F(SimulatedMacTest, ResultsDoNotDependOnTheSizeOfTimeSteps) {
    SimulatedMac other(*Profile::named("laptop"), [this] { return now; });
    mac.setLoad(0.7);
    other.setLoad(0.7);
    for (int i = 0; i < 100; ++i) {
        waitFor(0.73);
        (void)other.chipCelsius();
    }
    EXPECT_DOUBLE_EQ(mac.chipCelsius(), other.chipCelsius());
}

TEST(SimulatedMac, AMacWithoutFansHeatsAndCools) {
    double now = 0;
    SimulatedMac mac(*Profile::named("fanless"), [&] { return now; });
    mac.setLoad(1);
    now = 600;
    EXPECT_NEAR(mac.chipCelsius(), 25 + 23.8 + 95.0, 1);
}

} // namespace
} // namespace kelo
