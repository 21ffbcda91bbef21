#include "simulator/tools/pictures/Svg.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace kelo {
namespace {

// The second half of the style sheet is for dark mode. Custom properties would be shorter, but not every renderer
// supports them.
constexpr const char* style = R"(<style>
text { font: 12px system-ui, -apple-system, "Segoe UI", sans-serif; fill: #1f2328 }
.title { font-size: 16px; font-weight: 600 }
.strong { font-weight: 600 }
.quiet { fill: #59636e }
.small { font-size: 11px; fill: #59636e }
.page { fill: #ffffff }
.box { fill: #f6f8fa; stroke: #d1d9e0 }
.grid { stroke: #e3e8ed }
.mark { stroke: #818b98; stroke-dasharray: 2 3 }
.speed, .held, .asked, .chip { fill: none; stroke-width: 1.8 }
.speed { stroke: #0969da }
.held { stroke: #1a7f37; stroke-width: 6; opacity: 0.4 }
.asked { stroke: #59636e; stroke-dasharray: 6 4 }
.chip { stroke: #cf222e }
.dot { fill: #cf222e }
.ring { fill: #ffffff; stroke: #cf222e; stroke-width: 1.8 }
.lid { fill: #bf8700; opacity: 0.22 }
.sleep { fill: #8250df; opacity: 0.2 }
.arrow { stroke: #59636e; stroke-width: 1.4 }
.head { fill: #59636e }
.trust { fill: #1a7f37; fill-opacity: 0.07; stroke: #1a7f37; stroke-width: 1.6; stroke-dasharray: 7 4 }
.within { fill: #1a7f37; opacity: 0.75 }
.beyond { fill: #9a6700; opacity: 0.75 }
.screen { fill: #f6f8fa; stroke: #d1d9e0 }
.ink { fill: #1f2328 }
text.ink { font: 13px ui-monospace, "SF Mono", Menlo, "DejaVu Sans Mono", monospace; white-space: pre }
text.ink.strong { font-weight: 600 }
.ink.faint { fill: #818b98 }
.ink.paper { fill: #f6f8fa }
.ink.calm { fill: #0969da }
.ink.good { fill: #1a7f37 }
.ink.warning { fill: #9a6700 }
.ink.alarm { fill: #cf222e }
@media (prefers-color-scheme: dark) {
text { fill: #e6edf3 }
.quiet, .small { fill: #9198a1 }
.page { fill: #0d1117 }
.box { fill: #151b23; stroke: #3d444d }
.grid { stroke: #262c36 }
.mark { stroke: #656c76 }
.speed { stroke: #58a6ff }
.held { stroke: #3fb950 }
.asked { stroke: #9198a1 }
.chip { stroke: #ff7b72 }
.dot { fill: #ff7b72 }
.ring { fill: #0d1117; stroke: #ff7b72 }
.lid { fill: #d29922; opacity: 0.3 }
.sleep { fill: #ab7df8; opacity: 0.3 }
.arrow { stroke: #9198a1 }
.head { fill: #9198a1 }
.trust { fill: #3fb950; stroke: #3fb950 }
.within { fill: #3fb950 }
.beyond { fill: #d29922 }
.screen { fill: #151b23; stroke: #3d444d }
.ink { fill: #e6edf3 }
.ink.faint { fill: #656c76 }
.ink.paper { fill: #151b23 }
.ink.calm { fill: #58a6ff }
.ink.good { fill: #3fb950 }
.ink.warning { fill: #d29922 }
.ink.alarm { fill: #ff7b72 }
}
</style>
)";

/// Rounds to a tenth of a pixel, so that every compiler produces the same text.
std::string number(double value) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.1f", value);
    return text.data();
}

std::string escaped(const std::string& text) {
    std::string safe;
    for (const char character : text)
        switch (character) {
        case '&':
            safe += "&amp;";
            break;
        case '<':
            safe += "&lt;";
            break;
        case '>':
            safe += "&gt;";
            break;
        default:
            safe += character;
        }
    return safe;
}

std::string attribute(const std::string& name, const std::string& value) {
    return value.empty() ? "" : " " + name + "=\"" + value + "\"";
}

} // namespace

void Svg::text(Point at, const std::string& content, const std::string& name, Anchor anchor) {
    const char* const anchors[] = {"", "middle", "end"};
    body_ += "<text" + attribute("x", number(at.x)) + attribute("y", number(at.y)) + attribute("class", name) +
             attribute("text-anchor", anchors[static_cast<int>(anchor)]) + ">" + escaped(content) + "</text>\n";
}

void Svg::fixedText(Point at, const std::string& content, const std::string& name, double width) {
    body_ += "<text" + attribute("x", number(at.x)) + attribute("y", number(at.y)) + attribute("class", name) +
             attribute("textLength", number(width)) + " lengthAdjust=\"spacingAndGlyphs\" xml:space=\"preserve\">" +
             escaped(content) + "</text>\n";
}

void Svg::line(Point from, Point to, const std::string& name) { polyline({from, to}, name); }

void Svg::arrow(Point from, Point to) {
    constexpr double length = 9;
    constexpr double halfWidth = 4;
    const double whole = std::hypot(to.x - from.x, to.y - from.y);
    const Point along{(to.x - from.x) / whole, (to.y - from.y) / whole};
    const Point base{to.x - length * along.x, to.y - length * along.y};
    line(from, base, "arrow");
    polyline({to,
              {base.x - halfWidth * along.y, base.y + halfWidth * along.x},
              {base.x + halfWidth * along.y, base.y - halfWidth * along.x}},
             "head");
}

void Svg::polyline(const std::vector<Point>& points, const std::string& name) {
    if (points.size() < 2)
        return;
    body_ += "<polyline" + attribute("class", name) + " fill=\"none\" points=\"";
    for (const auto& point : points)
        body_ += (&point == points.data() ? "" : " ") + number(point.x) + "," + number(point.y);
    body_ += "\"/>\n";
}

void Svg::rect(Point corner, double width, double height, const std::string& name) {
    body_ += "<rect" + attribute("class", name) + attribute("x", number(corner.x)) + attribute("y", number(corner.y)) +
             attribute("width", number(width)) + attribute("height", number(height)) + "/>\n";
}

void Svg::circle(Point centre, double radius, const std::string& name) {
    body_ += "<circle" + attribute("class", name) + attribute("cx", number(centre.x)) +
             attribute("cy", number(centre.y)) + attribute("r", number(radius)) + "/>\n";
}

std::string Svg::file(double height, const std::string& title) const {
    const auto size = number(width_) + " " + number(height);
    return "<svg xmlns=\"http://www.w3.org/2000/svg\"" + attribute("width", number(width_)) +
           attribute("height", number(height)) + attribute("viewBox", "0 0 " + size) + " role=\"img\">\n<title>" +
           escaped(title) + "</title>\n" + style + "<rect class=\"page\" width=\"100%\" height=\"100%\"/>\n" + body_ +
           "</svg>\n";
}

} // namespace kelo
