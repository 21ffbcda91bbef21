#include <gmock/gmock.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "simulator/tools/pictures/Labels.h"
#include "simulator/tools/pictures/Picture.h"
#include "simulator/tools/pictures/Records.h"
#include "simulator/tools/pictures/Svg.h"

namespace kelo {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

const std::string sources = KELO_SOURCE_FOLDER;

std::string contentOf(const std::string& file) {
    std::ifstream stream(sources + "/" + file, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

PictureData stored(const std::string& name) { return PictureData::parse(contentOf("docs/pictures/" + name + ".json")); }

/// Whether two values are equal, apart from rounding differences between math libraries.
bool isAlike(const PictureData& a, const PictureData& b) {
    if (a.is_number() && b.is_number())
        return std::fabs(a.get<double>() - b.get<double>()) <= 0.001 * std::fabs(a.get<double>()) + 0.11;
    if (a.is_structured() && a.type() == b.type() && a.size() == b.size())
        return std::equal(a.items().begin(), a.items().end(), b.items().begin(),
                          [](const auto& one, const auto& other) {
                              return one.key() == other.key() && isAlike(one.value(), other.value());
                          });
    return a == b;
}

// --- the pictures in the documents

class StoredPicture : public ::testing::TestWithParam<const char*> {};

TEST_P(StoredPicture, MatchesItsData) {
    const std::string name = GetParam();
    EXPECT_TRUE(drawPicture(stored(name)) == contentOf("docs/pictures/" + name + ".svg"))
        << "docs/pictures/" << name << ".svg is older than its data or than the drawing code: run ./dev docs";
}

INSTANTIATE_TEST_SUITE_P(All, StoredPicture,
                         ::testing::Values("session", "watch", "floor", "hour", "delays", "architecture",
                                           "performance"),
                         [](const auto& parameter) { return std::string(parameter.param); });

TEST(StoredData, MatchesTheCurrentCode) {
    EXPECT_TRUE(isAlike(stored("floor"), records::floor())) << "run ./dev docs";
    EXPECT_TRUE(isAlike(stored("hour"), records::hour())) << "run ./dev docs";
}

TEST(StoredData, ComparisonDetectsADifferentValue) {
    auto other = stored("floor");
    other["easing"]["held"][40] = 0.1;
    EXPECT_FALSE(isAlike(stored("floor"), other));
    other = stored("hour");
    other["fans"][0]["held"][200] = nullptr;
    EXPECT_FALSE(isAlike(stored("hour"), other));
}

// --- drawing

TEST(Picture, RejectsInvalidData) {
    EXPECT_THROW((void)drawPicture({{"picture", "portrait"}}), std::invalid_argument);
    EXPECT_ANY_THROW((void)drawPicture(PictureData::object()));
    auto shorter = stored("session");
    shorter["times"].erase(0);
    EXPECT_THROW((void)drawPicture(shorter), std::invalid_argument);
    auto empty = stored("session");
    empty["times"] = PictureData::array();
    EXPECT_THROW((void)drawPicture(empty), std::invalid_argument);
}

TEST(Picture, SupportsDarkMode) {
    EXPECT_THAT(drawPicture(stored("session")), HasSubstr("@media (prefers-color-scheme: dark)"));
}

TEST(Picture, DrawsAMacWithoutFans) {
    auto data = stored("session");
    data["fans"] = PictureData::array();
    EXPECT_THAT(drawPicture(data), Not(HasSubstr("fan 0")));
}

TEST(Picture, EscapesText) {
    Svg svg(100);
    svg.text({1, 2}, "a < b & c");
    EXPECT_THAT(svg.file(10, "<title>"), HasSubstr("a &lt; b &amp; c"));
}

std::string drawnFigure(const std::string& name, double value, double target) {
    const PictureData figure = {{"name", name}, {"value", value}, {"unit", "ms"}, {"target", target}};
    return drawPicture({{"picture", "targets"}, {"figures", PictureData::array({figure})}});
}

TEST(Picture, MarksThePartThatExceedsATarget) {
    const std::string legendAndBar = "class=\"beyond\"";
    const auto areas = [&](const std::string& picture) {
        std::size_t count = 0;
        for (auto at = picture.find(legendAndBar); at != std::string::npos; at = picture.find(legendAndBar, at + 1))
            ++count;
        return count;
    };
    EXPECT_EQ(areas(drawnFigure("start", 1, 1)), 1U);
    EXPECT_EQ(areas(drawnFigure("start", 1.1, 1)), 2U);
    EXPECT_EQ(areas(drawnFigure("start", 0, 0)), 1U);
    EXPECT_EQ(areas(drawnFigure("start", 0.1, 0)), 2U);
}

TEST(Picture, ShowsTheLabelOfAFigureOrElseItsName) {
    PictureData figure = {{"name", "size.kelo"}, {"value", 1}, {"unit", "KiB"}, {"target", 1}};
    const auto drawn = [&] { return drawPicture({{"picture", "targets"}, {"figures", PictureData::array({figure})}}); };
    EXPECT_THAT(drawn(), HasSubstr(">size.kelo<"));
    figure["label"] = "size of the client";
    EXPECT_THAT(drawn(), HasSubstr(">size of the client<"));
}

TEST(Picture, DrawsAScreenWithColoursAndBlocks) {
    const auto screen = [](const char* text, const char* ink) {
        PictureData data = {{"picture", "screen"}, {"title", "A screen"}, {"columns", 10}};
        data["rows"] = PictureData::array({PictureData::array({PictureData::array({text, ink})})});
        return drawPicture(data);
    };
    EXPECT_THAT(screen("speed", "31"), HasSubstr("class=\"ink alarm\" textLength=\"39.0\""));
    EXPECT_THAT(screen("██", ""), HasSubstr("class=\"ink\" x=\"14.0\" y=\"14.0\" width=\"15.6\" height=\"16.0\""));
    EXPECT_THAT(screen("▂", ""), HasSubstr("y=\"26.0\" width=\"7.8\" height=\"4.0\""));
    EXPECT_THROW((void)screen("speed", "5"), std::invalid_argument);
}

// --- labels

double endOf(const Label& label) { return label.x + Svg::widthOf(label.text); }

/// Expects that no label overlaps another label in its row, or the line that runs down from a later label.
void expectApart(const std::vector<Label>& labels) {
    for (std::size_t i = 0; i < labels.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            EXPECT_TRUE(endOf(labels[j]) <= labels[i].x || labels[j].row < labels[i].row)
                << labels[j].text << " and " << labels[i].text;
}

TEST(Labels, StayInOneRowIfThereIsRoom) {
    std::vector<Label> labels = {{0, "one"}, {100, "two"}, {200, "three"}};
    EXPECT_EQ(arrange(labels), 1);
    expectApart(labels);
}

TEST(Labels, NeverOverlap) {
    for (const double distance : {0.0, 1.0, 17.0, 40.0}) {
        std::vector<Label> labels;
        for (int i = 0; i < 12; ++i)
            labels.push_back({i * distance, i % 3 == 0 ? "a long label" : "short"});
        EXPECT_GT(arrange(labels), 1);
        expectApart(labels);
    }
}

TEST(Labels, ReturnToTheHighestRowAfterAGap) {
    std::vector<Label> labels = {{0, "close"}, {5, "closer"}, {300, "far"}};
    EXPECT_EQ(arrange(labels), 2);
    EXPECT_EQ(labels[2].row, 0);
}

} // namespace
} // namespace kelo
