#include <stdexcept>

#include "simulator/tools/pictures/Picture.h"
#include "simulator/tools/pictures/Plot.h"

namespace kelo::pictures {
namespace {

constexpr double width = 1100;
constexpr double plotTop = 104;
constexpr double plotHeight = 300;
constexpr double plotWidth = 430;

std::vector<Svg::Point> pointsOf(const Plot& plot, const PictureData& pairs, double scale) {
    std::vector<Svg::Point> points;
    for (const auto& pair : pairs)
        points.push_back(plot.at(pair.at(0).get<double>(), pair.at(1).get<double>() * scale));
    return points;
}

/// Returns a step line, in which each value lasts until the next one.
std::vector<Svg::Point> stepsOf(const Plot& plot, const PictureData& times, const PictureData& values, double scale) {
    std::vector<Svg::Point> points;
    for (std::size_t i = 0; i < times.size(); ++i) {
        const auto point = plot.at(times[i].get<double>(), values.at(i).get<double>() * scale);
        if (!points.empty())
            points.push_back({point.x, points.back().y});
        points.push_back(point);
    }
    return points;
}

/// Draws the floor, as a percentage of the fan's range, against the chip's temperature. There is no floor below the
/// first point of the curve.
void drawCurve(Svg& svg, const PictureData& data) {
    const Plot plot({70, plotTop}, plotWidth, plotHeight, {80, 105}, {0, 110});
    plot.drawRows(svg, 20, " %");
    plot.drawColumns(svg, 5, " °C");
    svg.text({plot.left(), plotTop - 36}, "Thermal floor of every hold", "strong");
    svg.text({plot.left() - 46, plotTop - 14}, "lowest speed, % of the fan's range", "quiet");
    svg.text({plot.right(), plot.bottom() + 36}, "mean temperature of the chip", "quiet", Svg::Anchor::end);
    const auto above = pointsOf(plot, data.at("curve"), 100);
    if (above.empty())
        throw std::invalid_argument("the curve has no point");
    const Svg::Point jump{above.front().x, plot.y(0)};
    svg.polyline({{plot.left(), plot.y(0)}, jump}, "chip");
    svg.polyline(above, "chip");
    svg.circle(jump, 4, "dot");
    svg.circle(above.front(), 4, "ring");
    for (const auto& point : data.at("points")) {
        const auto at = plot.at(point.at(0).get<double>(), point.at(1).get<double>() * 100);
        svg.text({at.x - 10, at.y - 6}, point.at(2).get<std::string>(), "quiet", Svg::Anchor::end);
    }
    svg.text({plot.left(), plot.bottom() + 56}, data.at("curveNote").get<std::string>(), "quiet");
}

/// Draws the held speed over time while the chip heats up and cools down.
void drawEasing(Svg& svg, const PictureData& data) {
    const auto& times = data.at("times");
    const Plot::Range time{0, times.back().get<double>()};
    const Plot plot({600, plotTop}, plotWidth, plotHeight, time, {0, 100});
    const Plot degrees({600, plotTop}, plotWidth, plotHeight, time, {50, 100});
    plot.drawRows(svg, 20, " %");
    degrees.drawRightScale(svg, 10, " °C");
    plot.drawColumns(svg, 20, " s");
    svg.text({plot.left(), plotTop - 36}, "A hold at 30 % whose chip gets hot and cools down", "strong");
    svg.text({plot.left() - 40, plotTop - 14}, "speed, % of the fan's range", "quiet");
    svg.text({plot.right() + 46, plotTop - 14}, "chip", "quiet", Svg::Anchor::end);
    const auto chip = stepsOf(degrees, times, data.at("chip"), 1);
    const auto held = stepsOf(plot, times, data.at("held"), 100);
    const double asked = data.at("asked").get<double>() * 100;
    svg.polyline(held, "held");
    svg.line(plot.at(0, asked), plot.at(plot.xRange().to, asked), "asked");
    svg.polyline(chip, "chip");
    drawLegend(svg, {plot.left(), plot.bottom() + 44},
               {{"chip", "chip (right scale)"}, {"held", "held"}, {"asked", "requested"}});
}

} // namespace

std::string drawFloor(const PictureData& data) {
    Svg svg(width);
    svg.text({70, 30}, data.at("title").get<std::string>(), "title");
    drawCurve(svg, data);
    drawEasing(svg, data.at("easing"));
    double y = plotTop + plotHeight + 84;
    for (const auto& note : data.at("notes")) {
        svg.text({70, y}, note.get<std::string>(), "quiet");
        y += 17;
    }
    return svg.file(y + 6, data.at("title").get<std::string>());
}

} // namespace kelo::pictures
