#include "simulator/tools/pictures/Picture.h"
#include "simulator/tools/pictures/Svg.h"

namespace kelo::pictures {
namespace {

constexpr double padding = 12;
constexpr double lineHeight = 16;

Svg::Point pointOf(const PictureData& pair) { return {pair.at(0).get<double>(), pair.at(1).get<double>()}; }

/// Draws a rectangle that contains a name and lines of text. `at` is x, y, width and height.
void drawBox(Svg& svg, const PictureData& box, const std::string& name) {
    const auto& at = box.at("at");
    const auto corner = pointOf(at);
    svg.rect(corner, at.at(2).get<double>(), at.at(3).get<double>(), name);
    double y = corner.y + padding + 8;
    svg.text({corner.x + padding, y}, box.at("name").get<std::string>(), "strong");
    for (const auto& line : box.at("lines"))
        svg.text({corner.x + padding, y += lineHeight}, line.get<std::string>(), "small");
}

void drawArrow(Svg& svg, const PictureData& arrow) {
    svg.arrow(pointOf(arrow.at("from")), pointOf(arrow.at("to")));
    auto at = pointOf(arrow.at("text"));
    for (const auto& line : arrow.at("lines")) {
        svg.text(at, line.get<std::string>(), "small", Svg::Anchor::middle);
        at.y += lineHeight - 2;
    }
}

} // namespace

std::string drawDiagram(const PictureData& data) {
    const auto size = pointOf(data.at("size"));
    const auto title = data.at("title").get<std::string>();
    Svg svg(size.x);
    svg.text({30, 32}, title, "title");
    for (const auto& area : data.at("areas"))
        drawBox(svg, area, "trust");
    for (const auto& box : data.at("boxes"))
        drawBox(svg, box, "box");
    for (const auto& arrow : data.at("arrows"))
        drawArrow(svg, arrow);
    double y = size.y - lineHeight * static_cast<double>(data.at("notes").size());
    for (const auto& note : data.at("notes")) {
        svg.text({30, y}, note.get<std::string>(), "quiet");
        y += lineHeight;
    }
    return svg.file(size.y, title);
}

} // namespace kelo::pictures
