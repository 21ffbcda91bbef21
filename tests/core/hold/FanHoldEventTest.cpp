#include "core/hold/FanHoldEvent.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>

namespace kelo {
namespace {

using Limits = std::numeric_limits<double>;

TEST(FanHoldEvent, DescribesEachEvent) {
    EXPECT_EQ(FanHoldEvent::engaged(0.5, false).description(), "engaged(fraction: 0.5, neededUnlock: false)");
    EXPECT_EQ(FanHoldEvent::engaged(1, true).description(), "engaged(fraction: 1.0, neededUnlock: true)");
    EXPECT_EQ(FanHoldEvent::addingAir(0.62).description(), "addingAir(fraction: 0.62)");
    EXPECT_EQ(FanHoldEvent::backToAsked().description(), "backToAsked");
    EXPECT_EQ(FanHoldEvent::reasserted().description(), "reasserted");
    EXPECT_EQ(FanHoldEvent::sleeping().description(), "sleeping");
    EXPECT_EQ(FanHoldEvent::woke().description(), "woke");
    EXPECT_EQ(FanHoldEvent::yielded().description(), "yielded");
    EXPECT_EQ(FanHoldEvent::resumed().description(), "resumed");
    EXPECT_EQ(FanHoldEvent::released().description(), "released");
}

TEST(FanHoldEvent, ComparesKindAndValues) {
    EXPECT_EQ(FanHoldEvent::engaged(0.5, false), FanHoldEvent::engaged(0.5, false));
    EXPECT_FALSE(FanHoldEvent::engaged(0.5, false) == FanHoldEvent::engaged(0.5, true));
    EXPECT_EQ(FanHoldEvent::addingAir(0.5), FanHoldEvent::addingAir(0.5));
    EXPECT_FALSE(FanHoldEvent::addingAir(0.5) == FanHoldEvent::addingAir(0.6));
    EXPECT_FALSE(FanHoldEvent::woke() == FanHoldEvent::sleeping());
}

TEST(ShortestText, UsesExponentsOnlyForVerySmallAndVeryLargeNumbers) {
    const std::pair<double, const char*> texts[] = {
        {0, "0.0"},
        {-0.0, "-0.0"},
        {1, "1.0"},
        {0.5, "0.5"},
        {0.62, "0.62"},
        {0.1 + 0.2, "0.30000000000000004"},
        {1.0 / 3, "0.3333333333333333"},
        {0.5 - 0.02, "0.48"},
        {100, "100.0"},
        {1e15, "1000000000000000.0"},
        {123456789.125, "123456789.125"},
        {-2.5, "-2.5"},
        {0.0001, "0.0001"},
        {0.00012345, "0.00012345"},
        {std::nextafter(0.0001, 0.0), "9.999999999999999e-05"},
        {0.00001, "1e-05"},
        {-0.00001, "-1e-05"},
        {Limits::denorm_min(), "5e-324"},
        {Limits::min(), "2.2250738585072014e-308"},
        {0x1p53, "9007199254740992.0"},
        {0x1p54, "18014398509481984.0"},
        {std::nextafter(0x1p54, 1e300), "1.8014398509481988e+16"},
        {1e17, "1e+17"},
        {Limits::max(), "1.7976931348623157e+308"},
        {Limits::quiet_NaN(), "nan"},
        {Limits::infinity(), "inf"},
        {-Limits::infinity(), "-inf"},
    };
    for (const auto& [number, text] : texts)
        EXPECT_EQ(shortestText(number), text);
}

void expectReadable(double number) {
    const auto text = shortestText(number);
    ASSERT_EQ(std::bit_cast<std::uint64_t>(std::strtod(text.c_str(), nullptr)), std::bit_cast<std::uint64_t>(number))
        << text;
    const double magnitude = std::fabs(number);
    const bool isDecimal = magnitude == 0 || (magnitude >= 0.0001 && magnitude <= 0x1p54);
    ASSERT_EQ(text.find('e') == std::string::npos, isDecimal) << text;
    if (isDecimal) {
        ASSERT_NE(text.find('.'), std::string::npos) << text;
        ASSERT_NE(text.back(), '.') << text;
    }
}

TEST(ShortestText, ParsesBackToTheSameNumber) {
    std::mt19937_64 random(20261116);
    for (int i = 0; i < 200'000; ++i) {
        const auto number = std::bit_cast<double>(random());
        if (std::isfinite(number))
            expectReadable(number);
    }
    for (int exponent = -1074; exponent <= 1023; ++exponent)
        for (const double number : {std::ldexp(1.0, exponent), -std::ldexp(1.0, exponent)})
            expectReadable(number);
    std::uniform_real_distribution<double> fraction(0, 1);
    for (int i = 0; i < 200'000; ++i)
        expectReadable(fraction(random));
}

} // namespace
} // namespace kelo
