#include <algorithm>
#include <map>
#include <sstream>

#include "simulator/tools/pictures/Picture.h"
#include "simulator/tools/pictures/Plot.h"

namespace kelo::pictures {
namespace {

constexpr double width = 1100;
constexpr double margin = 24;
constexpr int columns = 4;
constexpr double gap = 12;
constexpr double boxWidth = (width - 2 * margin - (columns - 1) * gap) / columns;
constexpr std::size_t lineLength = 40; // characters that fit into a box
constexpr double lineHeight = 15;

std::vector<std::string> wrapped(const PictureData& words) {
    std::vector<std::string> lines;
    for (const auto& word : words) {
        const auto text = word.get<std::string>();
        if (lines.empty() || lines.back().size() + text.size() + 2 > lineLength)
            lines.push_back(text);
        else
            lines.back() += ", " + text;
    }
    if (lines.empty())
        lines.emplace_back("(nothing)");
    return lines;
}

double heightOf(const PictureData& folder) {
    return 28 + lineHeight * static_cast<double>(wrapped(folder.at("includes")).size());
}

void drawFolder(Svg& svg, Svg::Point corner, double height, const PictureData& folder) {
    svg.rect(corner, boxWidth, height, "box");
    svg.text({corner.x + 10, corner.y + 18}, folder.at("name").get<std::string>(), "strong");
    double y = corner.y + 18;
    for (const auto& line : wrapped(folder.at("includes")))
        svg.text({corner.x + 10, y += lineHeight}, line, "small");
}

/// Returns where the next layer begins.
double drawLayer(Svg& svg, double y, const PictureData& layer) {
    svg.text({margin, y + 14}, layer.at("name").get<std::string>(), "strong");
    svg.text({margin + 10 + 1.15 * Svg::widthOf(layer.at("name").get<std::string>()), y + 14},
             layer.at("note").get<std::string>(), "quiet");
    y += 26;
    const auto& folders = layer.at("folders");
    for (std::size_t first = 0; first < folders.size(); first += columns) {
        const auto last = std::min(first + columns, folders.size());
        double height = 0;
        for (std::size_t i = first; i < last; ++i)
            height = std::max(height, heightOf(folders[i]));
        for (std::size_t i = first; i < last; ++i)
            drawFolder(svg, {margin + static_cast<double>(i - first) * (boxWidth + gap), y}, height, folders[i]);
        y += height + gap;
    }
    return y + gap;
}

} // namespace

std::string drawArchitecture(const PictureData& data) {
    Svg svg(width);
    svg.text({margin, 32}, data.at("title").get<std::string>(), "title");
    double y = 50;
    for (const auto& note : data.at("notes")) {
        svg.text({margin, y + 4}, note.get<std::string>(), "quiet");
        y += 17;
    }
    y += 10;
    for (const auto& layer : data.at("layers"))
        y = drawLayer(svg, y, layer);
    return svg.file(y, data.at("title").get<std::string>());
}

} // namespace kelo::pictures
