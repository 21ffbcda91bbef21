#include "core/hold/FanMath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

namespace kelo {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(FanMath, InterpolatesTheClampedFractionWithoutRounding) {
    const std::tuple<double, double, double, double> targets[] = {
        {1000, 5000, 0.25, 2000},     {1200, 6000, 0.3, 1200 + 4800 * 0.3},
        {0, 1, 1.0 / 3, 1.0 / 3},     {1000, 5000, 0, 1000},
        {1000, 5000, 1, 5000},        {1000, 5000, 1.7, 5000},
        {1000, 5000, -0.3, 1000},     {1000, 5000, infinity, 5000},
        {1000, 5000, -infinity, 1000}};
    for (const auto& [min, max, fraction, target] : targets)
        EXPECT_EQ(FanMath::target(min, max, fraction), target) << fraction;
    EXPECT_TRUE(std::isnan(FanMath::target(1000, 5000, nan)));
}

TEST(FanMath, ReturnsTheMinimumOfAnEmptyInvertedOrNaNRange) {
    EXPECT_EQ(FanMath::target(1200, 1200, 0.5), 1200);
    EXPECT_EQ(FanMath::target(3000, 1200, 1), 3000);
    EXPECT_EQ(FanMath::target(1200, 1200, nan), 1200);
    EXPECT_EQ(FanMath::target(1200, nan, 0.5), 1200);
    EXPECT_TRUE(std::isnan(FanMath::target(nan, 1200, 0.5)));
}

} // namespace
} // namespace kelo
