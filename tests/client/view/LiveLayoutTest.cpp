#include "client/view/LiveLayout.h"

#include <gmock/gmock.h>

#include "client/view/FanText.h"

namespace kelo {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

FanSnapshot reading(double rpm, bool isHeld = true) {
    return {1, rpm, 1000, 5000, 3000, isHeld, "cool", 65, false, false};
}

class LiveLayout : public ::testing::Test {
protected:
    std::vector<std::string> shown(std::size_t columns, std::size_t rows, const Style& style = {}) {
        std::vector<std::string> lines;
        for (const auto& line : liveView(record, now, {columns, rows}, style, "Ctrl-C ends."))
            lines.push_back(painted(line, style));
        return lines;
    }

    FanRecord record;
    double now = 100;
};

TEST_F(LiveLayout, IsFullOnAScreenOfTheUsualSize) {
    record.observe(reading(1000, false), {99, "10:00:00"});
    record.observe(reading(3000), {100, "10:00:01"});
    EXPECT_THAT(shown(60, 18),
                ElementsAre("speed      ##############..............  3000 RPM, 50 %",
                            "target     ##############..............  3000 RPM, 50 %",
                            "chip       ##############..............  65.0 C, cool", "range      1000 to 5000 RPM",
                            "control    held", "added air  none", "lid        open, or no hold asks about it", "",
                            "The last 6 minutes", "speed                                                      =",
                            "chip                                                       =", "",
                            "10:00:01  The fan is held: target 3000 RPM, 50 %.", "", "", "", "", "Ctrl-C ends."));
}

TEST_F(LiveLayout, FitsEveryScreen) {
    for (int i = 0; i < 30; ++i)
        record.observe(reading(1000 + 100 * i, i % 2 == 0), {70.0 + i, "10:00:00"});
    record.lack("The helper is not running. Waiting for it.", {100, "10:00:30"});
    for (const bool hasUnicode : {false, true})
        for (std::size_t columns = 1; columns <= 200; columns += columns < 50 ? 1 : 37)
            for (std::size_t rows = 1; rows <= 60; rows += rows < 20 ? 1 : 7) {
                const auto lines = shown(columns, rows, {false, hasUnicode});
                ASSERT_LE(lines.size(), rows) << columns;
                for (const auto& line : lines)
                    ASSERT_LE(columnsOf(line), columns) << rows << ": " << line;
            }
}

TEST_F(LiveLayout, ShowsWhatMattersMostOnASmallScreen) {
    record.observe(reading(3000), {100, "10:00:00"});
    EXPECT_THAT(shown(30, 1), ElementsAre("speed      3000 RPM, 50 %"));
    EXPECT_THAT(shown(30, 4),
                ElementsAre(StartsWith("speed"), StartsWith("target"), StartsWith("chip"), "Ctrl-C ends."));
}

TEST_F(LiveLayout, BarsAndHistoryTakeTheWidth) {
    record.observe(reading(5000), {100, "10:00:00"});
    EXPECT_EQ(columnsOf(shown(60, 18)[9]), 60U);
    EXPECT_EQ(columnsOf(shown(120, 18)[9]), 120U);
    EXPECT_THAT(shown(120, 18)[0], HasSubstr(std::string(120 - gaugeColumns, '#')));
}

TEST_F(LiveLayout, ATallScreenHasATallerHistoryAndMoreEvents) {
    for (int i = 0; i < 40; ++i)
        record.observe(reading(5000, i % 2 == 0), {61.0 + i, "10:00:" + std::to_string(10 + i)});
    const auto lines = shown(80, 50, {false, true});
    for (std::size_t row = 9; row < 15; ++row)
        EXPECT_THAT(lines[row], HasSubstr("█")) << row;
    EXPECT_THAT(lines, Contains(StartsWith("10:00:49")));
    EXPECT_THAT(lines, Contains(StartsWith("10:00:25")));
    EXPECT_THAT(lines[22], StartsWith("10:00:49")) << "the newest comes first";
}

TEST_F(LiveLayout, AMomentStaysInItsColumnOfTheHistoryUntilTheNextBegins) {
    record.observe(reading(5000), {100, "10:00:00"});
    const auto speedAt = [&](double time) {
        now = time;
        return shown(71, 18)[9]; // 60 columns of 5 seconds
    };
    EXPECT_EQ(speedAt(104.9).find('@'), 70U);
    EXPECT_EQ(speedAt(105).find('@'), 69U);
    EXPECT_EQ(speedAt(395).find('@'), 11U);
    EXPECT_EQ(speedAt(400).find('@'), std::string::npos);
}

TEST_F(LiveLayout, BeforeTheFirstReadingSaysWhatIsMissing) {
    record.lack("The readings are not available.", {100, "10:00:00"});
    EXPECT_EQ(shown(60, 18).front(), "The readings are not available.");
}

TEST_F(LiveLayout, ColoursSayHowWarmTheChipIs) {
    const Style coloured{true, false};
    record.observe({1, 1000, 1000, 5000, 1000, false, "hot", 95, false, false}, {100, "10:00:00"});
    EXPECT_THAT(shown(80, 24, coloured)[2], HasSubstr("\033[31m95.0 C, hot\033[0m"));
    record.observe(reading(1000), {101, "10:00:01"});
    EXPECT_THAT(shown(80, 24, coloured)[2], HasSubstr("\033[32m65.0 C, cool\033[0m"));
}

TEST(Lines, AreCutAtACharacterAndKeepTheirColours) {
    const Line line = {{"a°b", Ink::alarm}, {"cde"}};
    EXPECT_EQ(painted(cut(line, 2), {true, true}), "\033[31ma°\033[0m");
    EXPECT_EQ(painted(cut(line, 4), {true, true}), "\033[31ma°b\033[0mc");
    EXPECT_EQ(painted(cut(line, 9), {false, true}), "a°bcde");
    EXPECT_EQ(painted(cut(line, 0), {true, true}), "");
}

TEST(Lines, HoldNothingThatSteersTheTerminal) { EXPECT_EQ(painted({{"a\033[2Jb\nc\x7f"}}, {}), "a?[2Jb?c?"); }

} // namespace
} // namespace kelo
