#include "client/view/LiveLayout.h"

#include <gmock/gmock.h>

#include "client/view/FanText.h"

namespace kelo {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

FanSnapshot reading(double rpm, bool isHeld = true) {
    return {1, rpm, 1000, 5000, 3000, isHeld, "cool", 65, false, false};
}

class LiveLayout : public ::testing::Test {
protected:
    std::vector<std::string> shown(std::size_t columns, std::size_t rows, const Style& style = {}) {
        std::vector<std::string> lines;
        const LiveFrame frame{"kelo watch", waiting, "q ends.", {now, "10:00:01"}};
        for (const auto& line : liveView(record, frame, {columns, rows}, style))
            lines.push_back(painted(line, style));
        return lines;
    }

    FanRecord record;
    std::string waiting;
    double now = 100;
};

TEST_F(LiveLayout, HasNoGapsIfReadingsAreMillisecondsEarlyOrLate) {
    for (int second = 40; second <= 100; ++second)
        record.observe(reading(3000), {second + (second % 2 == 0 ? 0.002 : -0.002), "10:00:00"});
    now = 100.01;
    EXPECT_THAT(shown(80, 20), Contains(" 1000 RPM |" + std::string(8, ' ') + std::string(61, '@')));
}

TEST_F(LiveLayout, FillsAScreen) {
    record.observe(reading(1000, false), {40, "10:00:00"});
    record.observe(reading(3000), {100, "10:00:00"});
    EXPECT_EQ(shown(60, 20), (std::vector<std::string>{
                                 " kelo watch   held                                 10:00:01 ",
                                 "",
                                 "speed      ##############..............  3000 RPM, 50 %",
                                 "target     ##############..............  3000 RPM, 50 %",
                                 "chip       ##############..............  65.0 C, cool",
                                 "",
                                 " 5000 RPM |                                                 ",
                                 "          |                                                 ",
                                 "     3000 |                                                =",
                                 "          |                                                @",
                                 " 1000 RPM |                  .                             @",
                                 "",
                                 "    110 C |                                                 ",
                                 "          |                                                 ",
                                 "          |                  @                             @",
                                 "     20 C |                  @                             @",
                                 "          +------------------1 min-----------------------now",
                                 "",
                                 "10:00:00  The fans are held: target 3000 RPM, 50 %.",
                                 "q ends.",
                             }));
}

TEST_F(LiveLayout, FitsScreensOfEverySize) {
    for (int i = 0; i < 30; ++i)
        record.observe(reading(1000 + 100 * i, i % 2 == 0), {70.0 + i, "10:00:00"});
    record.observeFailure("The helper is not running. Waiting for the helper.", {100, "10:00:30"});
    waiting = "Two\nlines";
    for (const bool hasUnicode : {false, true})
        for (std::size_t columns = 1; columns <= 200; columns += columns < 50 ? 1 : 37)
            for (std::size_t rows = 1; rows <= 60; rows += rows < 20 ? 1 : 7) {
                const auto lines = shown(columns, rows, {false, hasUnicode});
                ASSERT_LE(lines.size(), rows) << columns;
                for (const auto& line : lines)
                    ASSERT_LE(columnsOf(line), columns) << rows << ": " << line;
            }
}

TEST_F(LiveLayout, GraphsUseAllSpareRows) {
    record.observe(reading(3000), {100, "10:00:00"});
    for (const std::size_t rows : {24U, 50U}) {
        const auto lines = shown(80, rows);
        EXPECT_EQ(std::count(lines.begin(), lines.end(), ""), 3) << "below the title, and above each graph";
    }
}

TEST_F(LiveLayout, SmallScreenShowsOnlyTheGauges) {
    record.observe(reading(3000), {100, "10:00:00"});
    EXPECT_THAT(shown(30, 1), ElementsAre("speed      3000 RPM, 50 %"));
    EXPECT_THAT(shown(30, 6), ElementsAre(" kelo watch   held   10:00:01 ", StartsWith("speed"), StartsWith("target"),
                                          StartsWith("chip"), "", "q ends."));
}

TEST_F(LiveLayout, TruncatedLinesEndInAMark) {
    record.observe(reading(3000), {100, "10:00:00"});
    record.note("The fans are held: target 3000 RPM, 50 %.", {100, "10:00:00"});
    EXPECT_THAT(shown(30, 24, {false, true}), Contains("10:00:00  The fans are held: …"));
    EXPECT_THAT(shown(30, 24), Contains("10:00:00  The fans are held: >"));
}

TEST_F(LiveLayout, TallScreenHasTallerGraphsAndMoreEvents) {
    for (int i = 0; i < 40; ++i)
        record.observe(reading(5000, i % 2 == 0), {61.0 + i, "10:00:" + std::to_string(10 + i)});
    const auto lines = shown(80, 50, {false, true});
    for (std::size_t row = 6; row < 19; ++row)
        EXPECT_THAT(lines[row], HasSubstr("█")) << row;
    EXPECT_THAT(lines, Contains(StartsWith("10:00:49")));
    EXPECT_THAT(lines, Contains(StartsWith("10:00:40")));
    EXPECT_THAT(lines[38], StartsWith("10:00:49")) << "the newest comes first";
}

TEST_F(LiveLayout, EachGraphHasItsOwnScale) {
    record.observe(reading(3000), {100, "10:00:00"});
    const auto lines = shown(80, 30, {false, true});
    for (const auto* label : {" 5000 RPM ┤", "     3000 ┤", " 1000 RPM ┤", "   110 °C ┤", "       60 ┤", "    20 °C ┤"})
        EXPECT_THAT(lines, Contains(StartsWith(label)));
    record.observe({2, 7000, 1200, 8000, 7000, true, "cool", 65, false, false}, {101, "10:00:01"});
    EXPECT_THAT(shown(80, 30, {false, true}), Contains(StartsWith(" 8000 RPM ┤"))) << "another fan is the fastest now";
}

TEST_F(LiveLayout, FanWithoutARangeHasAScaleFromZero) {
    record.observe({1, 900, 0, 0, 1000, false, "cool", 45, false, false}, {100, "10:00:00"});
    EXPECT_THAT(shown(80, 24), Contains(StartsWith("  900 RPM |")));
    EXPECT_THAT(shown(80, 24), Contains(StartsWith("    0 RPM |")));
}

TEST_F(LiveLayout, ShowsTheTargetOnlyWhileTheFansAreHeld) {
    record.observe({1, 1000, 1000, 5000, 5000, true, "cool", 65, false, false}, {99, "10:00:00"});
    record.observe({1, 1000, 1000, 5000, 5000, false, "cool", 65, false, false}, {100, "10:00:01"});
    EXPECT_THAT(shown(80, 24, {false, true})[6], testing::EndsWith("┄ "));
}

TEST_F(LiveLayout, SamplesStayInTheirColumnUntilTheNextColumnBegins) {
    record.observe(reading(1000), {0, "10:00:00"});
    record.observe(reading(5000), {400, "10:00:00"});
    const auto speedAt = [&](double time) {
        now = time;
        return shown(71, 18)[6]; // 60 columns of 5 seconds
    };
    EXPECT_EQ(speedAt(404.9).find('@'), 70U);
    EXPECT_EQ(speedAt(405).find('@'), 69U);
    EXPECT_EQ(speedAt(695).find('@'), 11U);
    EXPECT_EQ(speedAt(700).find('@'), std::string::npos);
}

TEST_F(LiveLayout, ShowsWhyReadingsAreMissingAndTheTimeOfTheLastReading) {
    record.observeFailure("The readings are not available.", {100, "10:00:00"});
    EXPECT_EQ(shown(60, 18)[1], "The readings are not available.");
    record.observe(reading(3000), {100, "09:59:00"});
    record.observeFailure("The helper has gone.", {101, "10:00:00"});
    EXPECT_EQ(shown(60, 18)[2], "The last reading is from 09:59:00.");
    EXPECT_THAT(shown(60, 18)[0], Not(HasSubstr("held"))) << "the state is unknown";
}

TEST_F(LiveLayout, ColoursShowHowWarmTheChipIs) {
    const Style coloured{true, false};
    record.observe({1, 1000, 1000, 5000, 1000, false, "hot", 95, false, false}, {99, "10:00:00"});
    EXPECT_THAT(shown(80, 24, coloured)[4], HasSubstr("\033[31m95.0 C, hot\033[0m"));
    record.observe(reading(1000), {100, "10:00:01"});
    EXPECT_THAT(shown(80, 24, coloured)[4], HasSubstr("\033[32m65.0 C, cool\033[0m"));
    EXPECT_THAT(shown(80, 24, coloured), Contains(HasSubstr("\033[31m@\033[0m\033[32m@\033[0m")))
        << "also in the graph";
}

TEST(Lines, TruncationKeepsWholeCharactersAndColours) {
    const Line line = {{"a°b", Ink::alarm}, {"cde"}};
    EXPECT_EQ(painted(cut(line, 3, {true, true}), {true, true}), "\033[31ma°\033[0m\033[2m…\033[0m");
    EXPECT_EQ(painted(cut(line, 5, {true, true}), {false, true}), "a°bc…");
    EXPECT_EQ(painted(cut(line, 6, {false, true}), {false, true}), "a°bcde");
    EXPECT_EQ(painted(cut(line, 1, {}), {}), ">");
    EXPECT_EQ(painted(cut(line, 0, {}), {}), "");
}

TEST(Lines, EscapesControlCharacters) { EXPECT_EQ(painted({{"a\033[2Jb\nc\x7f\xC2\x9B é"}}, {}), "a^[[2Jb c^?? é"); }

} // namespace
} // namespace kelo
