#include "client/Arguments.h"

#include <gtest/gtest.h>

#include <utility>

namespace kelo {
namespace {

TEST(Fractions, AreNumbersOrPercentages) {
    const std::pair<const char*, double> fractions[] = {{"0", 0},     {"1", 1},         {"0.5", 0.5},
                                                        {"50%", 0.5}, {"50 %", 0.5},    {"100%", 1},
                                                        {"0%", 0},    {"12.5%", 0.125}, {"1e-1", 0.1}};
    for (const auto& [text, fraction] : fractions)
        EXPECT_EQ(parseFraction(text), fraction) << text;
    for (const auto* text : {"",    "%",    " %",   ".",    "1.2.3", "+0.5",  "0x1", "1e",  "half", "-0.1",
                             "1.1", "101%", "0.5x", "0.5 ", " 0.5",  "50  %", "nan", "inf", "50%%", "0,5"})
        EXPECT_EQ(parseFraction(text), std::nullopt) << text;
}

TEST(Durations, AreHoursMinutesAndSecondsInThatOrder) {
    const std::pair<const char*, double> durations[] = {{"1s", 1},    {"90s", 90},     {"30m", 1800},
                                                        {"2h", 7200}, {"1h30m", 5400}, {"1h1m1s", 3661},
                                                        {"0h5s", 5},  {"1000h", 3.6e6}};
    for (const auto& [text, seconds] : durations)
        EXPECT_EQ(parseDuration(text), seconds) << text;
    for (const auto* text : {"", "30", "m", "0s", "0h0m", "30m1h", "1m1m", "-5m", "1.5h", "5 m", "5d", "5M", "1001h",
                             "1000h1s", "99999999999999999999h", "soon"})
        EXPECT_EQ(parseDuration(text), std::nullopt) << text;
}

} // namespace
} // namespace kelo
