#include <algorithm>
#include <stdexcept>
#include <vector>

#include "simulator/tools/pictures/Picture.h"
#include "simulator/tools/pictures/Svg.h"

namespace kelo::pictures {
namespace {

constexpr double cellWidth = 7.8;
constexpr double cellHeight = 16;
constexpr double margin = 14;
constexpr double baseline = 12.5; // below the top of a cell

/// Returns the class for a control sequence with these arguments. Knows only the sequences that kelo sends.
std::string inkOf(const std::string& arguments) {
    static const std::vector<std::pair<std::string, std::string>> inks = {
        {"", "ink"},        {"1", "ink strong"}, {"2", "ink faint"},    {"7", "ink paper"},
        {"36", "ink calm"}, {"32", "ink good"},  {"33", "ink warning"}, {"31", "ink alarm"}};
    const auto found = std::find_if(inks.begin(), inks.end(), [&](const auto& ink) { return ink.first == arguments; });
    if (found == inks.end())
        throw std::invalid_argument("unknown control sequence: " + arguments);
    return found->second;
}

/// Splits UTF-8 text into its characters.
std::vector<std::string> charactersOf(const std::string& text) {
    std::vector<std::string> characters;
    for (const char byte : text) {
        if ((static_cast<unsigned char>(byte) & 0xC0U) != 0x80U)
            characters.emplace_back();
        characters.back() += byte;
    }
    return characters;
}

/// The fraction of its cell that a block character, U+2581 to U+2588, fills from the bottom; 0 for every other
/// character.
double blockHeight(const std::string& character) {
    const bool isBlock =
        character.size() == 3 && character.starts_with("\xE2\x96") && character[2] >= '\x81' && character[2] <= '\x88';
    return isBlock ? static_cast<double>(character[2] - '\x80') / 8 : 0;
}

/// Draws a run of characters that consists entirely of blocks or entirely of text. Draws blocks as areas, since the
/// block characters of most fonts leave gaps.
void drawRun(Svg& svg, Svg::Point corner, const std::vector<std::string>& run, const std::string& ink) {
    const double width = cellWidth * static_cast<double>(run.size());
    if (const double height = cellHeight * blockHeight(run.front()); height > 0)
        return svg.rect({corner.x, corner.y + cellHeight - height}, width, height, ink);
    std::string text;
    for (const auto& character : run)
        text += character;
    if (text.find_first_not_of(' ') != std::string::npos)
        svg.fixedText({corner.x, corner.y + baseline}, text, ink, width);
}

void drawSpan(Svg& svg, Svg::Point corner, const std::string& text, const std::string& ink) {
    std::vector<std::string> run;
    const auto flush = [&] {
        if (!run.empty())
            drawRun(svg, corner, run, ink);
        corner.x += cellWidth * static_cast<double>(run.size());
        run.clear();
    };
    for (const auto& character : charactersOf(text)) {
        if (!run.empty() && blockHeight(run.front()) != blockHeight(character))
            flush();
        run.push_back(character);
    }
    flush();
}

} // namespace

std::string drawScreen(const PictureData& data) {
    const auto title = data.at("title").get<std::string>();
    const double columns = data.at("columns").get<double>();
    const auto& rows = data.at("rows");
    const double width = columns * cellWidth + 2 * margin;
    const double height = static_cast<double>(rows.size()) * cellHeight + 2 * margin;
    Svg svg(width);
    svg.rect({0.5, 0.5}, width - 1, height - 1, "screen");
    Svg::Point corner{margin, margin};
    for (const auto& row : rows) {
        corner.x = margin;
        for (const auto& span : row) {
            const auto text = span.at(0).get<std::string>();
            const auto ink = inkOf(span.at(1).get<std::string>());
            const double spanWidth = cellWidth * static_cast<double>(charactersOf(text).size());
            if (ink == "ink paper")
                svg.rect(corner, spanWidth, cellHeight, "ink");
            drawSpan(svg, corner, text, ink);
            corner.x += spanWidth;
        }
        corner.y += cellHeight;
    }
    return svg.file(height, title);
}

} // namespace kelo::pictures
