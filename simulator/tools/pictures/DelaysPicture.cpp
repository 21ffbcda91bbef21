#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

#include "simulator/tools/pictures/Picture.h"
#include "simulator/tools/pictures/Plot.h"

namespace kelo::pictures {
namespace {

constexpr double width = 1100;
constexpr double top = 86;
constexpr double rowHeight = 34;
constexpr double left = 210;
constexpr double plotWidth = 760;
// The scale is logarithmic, in powers of ten of a second.
constexpr double shortest = -3;
constexpr double longest = 2;
constexpr std::array<const char*, 6> decades = {"1 ms", "10 ms", "0.1 s", "1 s", "10 s", "100 s"};

/// Clamps shorter delays to the start of the scale.
double decadesOf(double seconds) { return std::log10(std::max(seconds, std::pow(10, shortest))); }

void drawScale(Svg& svg, const Plot& plot) {
    for (std::size_t i = 0; i < decades.size(); ++i) {
        const double x = plot.x(shortest + static_cast<double>(i));
        svg.line({x, plot.top()}, {x, plot.bottom()}, "grid");
        svg.text({x, plot.bottom() + 18}, decades.at(i), "quiet", Svg::Anchor::middle);
    }
}

/// Draws the bound, and a line from the median to the worst delay.
void drawRow(Svg& svg, const Plot& plot, double y, const PictureData& row) {
    const auto x = [&](const char* member) { return plot.x(decadesOf(row.at(member).get<double>())); };
    svg.text({left - 14, y + 4}, row.at("name").get<std::string>(), "", Svg::Anchor::end);
    svg.line({x("p50"), y}, {x("worst"), y}, "held");
    svg.circle({x("p50"), y}, 4, "ring");
    svg.circle({x("worst"), y}, 4, "dot");
    svg.line({x("bound"), y - 10}, {x("bound"), y + 10}, "asked");
    svg.text({plot.right() + 14, y + 4}, std::to_string(row.at("tries").get<int>()) + " times", "quiet");
}

} // namespace

std::string drawDelays(const PictureData& data) {
    const auto& rows = data.at("rows");
    if (rows.empty())
        throw std::invalid_argument("there is no row");
    const auto height = rowHeight * static_cast<double>(rows.size());
    const Plot plot({left, top}, plotWidth, height, {shortest, longest}, {0, 1});
    Svg svg(width);
    const auto title = data.at("title").get<std::string>();
    svg.text({left, 30}, title, "title");
    svg.text({left, top - 24},
             "Time until the last fan is automatic: median (ring) to worst (dot); the dashed line is the bound",
             "quiet");
    drawScale(svg, plot);
    double y = top + rowHeight / 2;
    for (const auto& row : rows) {
        drawRow(svg, plot, y, row);
        y += rowHeight;
    }
    return svg.file(plot.bottom() + 36, title);
}

} // namespace kelo::pictures
