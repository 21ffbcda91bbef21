#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

#include "simulator/tools/pictures/Picture.h"
#include "simulator/tools/pictures/Plot.h"

namespace kelo::pictures {
namespace {

constexpr double width = 1100;
constexpr double left = 400; // room for the labels
constexpr double plotWidth = 460;
constexpr double top = 80;
constexpr double rowHeight = 26;
constexpr double barHeight = 12;
constexpr double longest = 2.5; // times the target; longer bars are cut off

std::string valueText(const PictureData& figure) {
    const auto unit = figure.at("unit").get<std::string>();
    const std::string shown = unit == "ratio" ? "times" : unit == "percent" ? "%" : unit;
    std::array<char, 128> text{};
    std::snprintf(text.data(), text.size(), "%.3g %s, target %.4g", figure.at("value").get<double>(), shown.c_str(),
                  figure.at("target").get<double>());
    return text.data();
}

/// Returns the figure's value as a share of its target. Only the value 0 meets a target of 0.
double shareOf(const PictureData& figure) {
    const auto value = figure.at("value").get<double>();
    const auto target = figure.at("target").get<double>();
    return std::min(longest, target > 0 ? value / target : value > 0 ? longest : 0);
}

} // namespace

std::string drawTargets(const PictureData& data) {
    std::vector<PictureData> figures;
    for (const auto& figure : data.at("figures"))
        if (figure.contains("target"))
            figures.push_back(figure);
    const Plot plot({left, top}, plotWidth, rowHeight * static_cast<double>(figures.size()), {0, longest}, {0, 1});
    Svg svg(width);
    svg.text({left, 30}, "Cost of the helper as shares of the targets", "title");
    drawLegend(
        svg, {left, 52},
        {{"within", "up to the target", LegendEntry::Sign::area}, {"beyond", "beyond it", LegendEntry::Sign::area}});
    svg.text({plot.x(1), top - 8}, "target", "quiet", Svg::Anchor::middle);
    double y = top + rowHeight / 2;
    for (const auto& figure : figures) {
        const double share = shareOf(figure);
        svg.text({left - 12, y + 4}, figure.value("label", figure.at("name").get<std::string>()), "", Svg::Anchor::end);
        svg.rect({left, y - barHeight / 2}, std::max(plot.x(std::min(share, 1.0)) - left, 1.0), barHeight, "within");
        if (share > 1)
            svg.rect({plot.x(1), y - barHeight / 2}, plot.x(share) - plot.x(1), barHeight, "beyond");
        svg.text({plot.right() + 12, y + 4}, valueText(figure), "quiet");
        y += rowHeight;
    }
    svg.line({plot.x(1), top - 4}, {plot.x(1), plot.bottom()}, "mark");
    return svg.file(plot.bottom() + 20, "Cost of the helper as shares of the targets");
}

} // namespace kelo::pictures
