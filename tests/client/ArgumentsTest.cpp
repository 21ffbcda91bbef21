#include "client/Arguments.h"

#include <gmock/gmock.h>

#include <utility>

namespace kelo {
namespace {

using ::testing::EndsWith;

TEST(Arguments, SpeedsAreFractionsPercentagesOrRPM) {
    const std::pair<const char*, Speed> speeds[] = {
        {"0", 0.0},  {"1", 1.0},       {"0.5", 0.5},  {"50%", 0.5},           {"50 %", 0.5},          {"100%", 1.0},
        {"0%", 0.0}, {"12.5%", 0.125}, {"1e-1", 0.1}, {"3000rpm", RPM{3000}}, {"3000 RPM", RPM{3000}}};
    for (const auto& [text, speed] : speeds)
        EXPECT_EQ(parseSpeed(text), speed) << text;
    for (const auto* text : {"",    "%",    " %",   ".",    "1.2.3", "+0.5",  "0x1", "1e",  "half", "-0.1", "rpm",
                             "1.1", "101%", "0.5x", "0.5 ", " 0.5",  "50  %", "nan", "inf", "50%%", "0,5",  "-1rpm"})
        EXPECT_EQ(parseSpeed(text), std::nullopt) << text;
}

TEST(Arguments, SuggestsASpeedForANearMiss) {
    const std::pair<const char*, const char*> meant[] = {{"50", "did you mean 50%?"},
                                                         {"0,5", "did you mean 0.5?"},
                                                         {"3000", "did you mean 3000rpm?"},
                                                         {"12,5%", "did you mean 12.5%?"},
                                                         {"100", "did you mean 100%?"},
                                                         {"half", "or 3000rpm)"},
                                                         {"-1", "or 3000rpm)"}};
    for (const auto& [text, ending] : meant)
        EXPECT_THAT(speedError(text), EndsWith(ending));
}

TEST(Arguments, DurationsAreHoursMinutesAndSecondsInThatOrder) {
    const std::pair<const char*, double> durations[] = {{"1s", 1},    {"90s", 90},     {"30m", 1800},
                                                        {"2h", 7200}, {"1h30m", 5400}, {"1h1m1s", 3661},
                                                        {"0h5s", 5},  {"1000h", 3.6e6}};
    for (const auto& [text, seconds] : durations)
        EXPECT_EQ(parseDuration(text), seconds) << text;
    for (const auto* text : {"", "30", "m", "0s", "0h0m", "30m1h", "1m1m", "-5m", "1.5h", "5 m", "5d", "5M", "1001h",
                             "1000h1s", "99999999999999999999h", "soon"})
        EXPECT_EQ(parseDuration(text), std::nullopt) << text;
}

TEST(Arguments, SuggestsAUnitForADurationWithoutOne) {
    EXPECT_THAT(durationError("10"), EndsWith("; did you mean 10s or 10m?"));
    EXPECT_THAT(durationError("soon"), EndsWith("(90s, 30m or 1h30m)"));
}

} // namespace
} // namespace kelo
