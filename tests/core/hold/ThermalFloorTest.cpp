#include "core/hold/ThermalFloor.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <vector>

namespace kelo {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(ThermalFloor, ReturnsNulloptWithoutReadings) { EXPECT_EQ(ThermalFloor::smoothed({}), std::nullopt); }

TEST(ThermalFloor, AveragesFewerThanEightReadings) {
    EXPECT_EQ(ThermalFloor::smoothed(std::vector{70.0}), 70);
    EXPECT_EQ(ThermalFloor::smoothed(std::vector{70.0, 71.0}), 70.5);
}

TEST(ThermalFloor, AveragesOnlyTheNewestEightReadings) {
    std::vector<double> readings(10);
    std::iota(readings.begin(), readings.end(), 1.0);
    EXPECT_EQ(ThermalFloor::smoothed(readings), 6.5);
    EXPECT_EQ(ThermalFloor::smoothingWindow, 8);
}

TEST(ThermalFloor, SumsReadingsFromOldestToNewest) {
    const std::vector<double> readings = {0.1, 0.2, 0.3, 1e16, -1e16};
    EXPECT_EQ(ThermalFloor::smoothed(readings), (((0.0 + 0.1) + 0.2 + 0.3) + 1e16 + -1e16) / 5);
}

TEST(ThermalFloor, ReturnsNaNIfAnyReadingIsNaN) {
    EXPECT_TRUE(std::isnan(ThermalFloor::smoothed(std::vector{70.0, nan}).value()));
}

TEST(ThermalFloor, TheFloorIsZeroUpTo89DegreesAndJumpsJustAbove) {
    EXPECT_EQ(ThermalFloor::fraction(-infinity), 0);
    EXPECT_EQ(ThermalFloor::fraction(0), 0);
    EXPECT_EQ(ThermalFloor::fraction(89.0), 0);
    const double above = ThermalFloor::fraction(std::nextafter(89.0, 90.0));
    EXPECT_GE(above, 0.04);
    EXPECT_NEAR(above, 0.04, 1e-12);
}

TEST(ThermalFloor, TheFloorIsInterpolatedBetweenItsPoints) {
    EXPECT_EQ(ThermalFloor::fraction(92.0), 0.04 + (92.0 - 89.0) / 7.0 * (0.5 - 0.04));
    EXPECT_EQ(ThermalFloor::fraction(92.5), 0.04 + (92.5 - 89.0) / 7.0 * (0.5 - 0.04));
    EXPECT_EQ(ThermalFloor::fraction(96.0), 0.5);
    EXPECT_EQ(ThermalFloor::fraction(98.5), 0.75);
    EXPECT_EQ(ThermalFloor::fraction(100.0), 0.5 + (100.0 - 96.0) / 5.0 * 0.5);
}

TEST(ThermalFloor, TheFloorIsOneAtAndAbove101Degrees) {
    EXPECT_LT(ThermalFloor::fraction(std::nextafter(101.0, 0.0)), 1);
    EXPECT_EQ(ThermalFloor::fraction(101.0), 1);
    EXPECT_EQ(ThermalFloor::fraction(150.0), 1);
    EXPECT_EQ(ThermalFloor::fraction(infinity), 1);
}

TEST(ThermalFloor, TheFloorIsZeroForNaN) { EXPECT_EQ(ThermalFloor::fraction(nan), 0); }

TEST(ThermalFloor, TheFloorNeverFallsAsTheTemperatureRises) {
    double previous = 0;
    for (double celsius = 80; celsius <= 110; celsius += 1.0 / 64) {
        const double fraction = ThermalFloor::fraction(celsius);
        ASSERT_GE(fraction, previous) << celsius;
        ASSERT_LE(fraction, 1.0);
        previous = fraction;
    }
}

TEST(ThermalFloor, RaisesTheRequestedFractionToTheFloor) {
    EXPECT_EQ(ThermalFloor::hold(0.3, std::nullopt), 0.3);
    EXPECT_EQ(ThermalFloor::hold(0.3, 96), 0.5);
    EXPECT_EQ(ThermalFloor::hold(0.8, 96), 0.8);
    EXPECT_EQ(ThermalFloor::hold(0.5, 96), 0.5);
    EXPECT_EQ(ThermalFloor::hold(0.3, nan), 0.3);
}

TEST(ThermalFloor, RisesImmediately) {
    EXPECT_EQ(ThermalFloor::eased(0.5, 0.9), 0.9);
    EXPECT_EQ(ThermalFloor::eased(0.5, 0.5), 0.5);
    EXPECT_EQ(ThermalFloor::eased(0.0, 1.0), 1.0);
}

TEST(ThermalFloor, FallsByAtMostOneStep) {
    EXPECT_EQ(ThermalFloor::eased(0.5, 0.49), 0.49);
    EXPECT_EQ(ThermalFloor::eased(0.5, 0.1), 0.5 - 0.02);
    EXPECT_EQ(ThermalFloor::eased(0.5, 0.5 - 0.02), 0.5 - 0.02);
    EXPECT_EQ(ThermalFloor::eased(0.01, 0.0), 0.0);
}

TEST(ThermalFloor, EveryStepOfAFallIsExactToTheLastBit) {
    const double steps[] = {0.48,
                            0.45999999999999996,
                            0.43999999999999995,
                            0.41999999999999993,
                            0.3999999999999999,
                            0.3799999999999999,
                            0.3599999999999999,
                            0.33999999999999986,
                            0.31999999999999984,
                            0.2999999999999998,
                            0.2799999999999998,
                            0.2599999999999998,
                            0.2399999999999998,
                            0.2199999999999998,
                            0.19999999999999982,
                            0.17999999999999983,
                            0.15999999999999984,
                            0.13999999999999985,
                            0.11999999999999984,
                            0.09999999999999984,
                            0.07999999999999984,
                            0.05999999999999983,
                            0.03999999999999983,
                            0.019999999999999827,
                            0.0};
    double held = 0.5;
    for (const double step : steps) {
        held = ThermalFloor::eased(held, 0.0);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(held), std::bit_cast<std::uint64_t>(step)) << held << " for " << step;
    }
}

TEST(ThermalFloor, FallsFromFullSpeedToZeroInFiftySteps) {
    double held = 1.0;
    for (int step = 0; step < 49; ++step)
        held = ThermalFloor::eased(held, 0.0);
    EXPECT_GT(held, 0.0);
    EXPECT_NEAR(ThermalFloor::eased(held, 0.0), 0.0, 1e-12);
}

} // namespace
} // namespace kelo
