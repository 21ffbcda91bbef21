#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "simulator/tools/pictures/Labels.h"
#include "simulator/tools/pictures/Picture.h"
#include "simulator/tools/pictures/Plot.h"

namespace kelo::pictures {
namespace {

constexpr double width = 1100;
constexpr double left = 90;
constexpr double right = 130; // room for the last labels
constexpr double titleHeight = 74;
constexpr double rowHeight = 17;
constexpr double panelHeight = 150;
constexpr double panelGap = 30;

using Series = std::vector<double>;

/// Splits a series at its nulls, so that each run of values is drawn as a separate line.
std::vector<std::vector<Svg::Point>> stretches(const Plot& plot, const Series& times, const PictureData& values) {
    if (values.size() != times.size())
        throw std::invalid_argument("a series and the times differ in length");
    std::vector<std::vector<Svg::Point>> found(1);
    for (std::size_t i = 0; i < times.size(); ++i)
        if (!values[i].is_null())
            found.back().push_back(plot.at(times[i], values[i].get<double>()));
        else if (!found.back().empty())
            found.emplace_back();
    return found;
}

void drawSeries(Svg& svg, const Plot& plot, const Series& times, const PictureData& values, const std::string& name) {
    for (const auto& stretch : stretches(plot, times, values))
        svg.polyline(stretch, name);
}

/// Draws each value as a bar that extends to the next value. A line would be too thick for a value that lasts only 2
/// seconds in a picture of an hour.
void drawSteps(Svg& svg, const Plot& plot, const Series& times, const PictureData& values, const std::string& name) {
    for (const auto& stretch : stretches(plot, times, values)) {
        auto begin = stretch.begin();
        for (auto point = begin; point != stretch.end(); ++point)
            if (point->y != begin->y || point + 1 == stretch.end()) {
                svg.line(*begin, {point->x, begin->y}, name);
                begin = point;
            }
    }
}

void drawSpans(Svg& svg, const Plot& plot, const PictureData& spans) {
    for (const auto& span : spans) {
        const double from = plot.x(span.at("from").get<double>());
        const double to = plot.x(span.at("to").get<double>());
        svg.rect({from, plot.top()}, to - from, plot.bottom() - plot.top(), span.at("kind").get<std::string>());
    }
}

/// Rounds `value` up to a multiple of `step`.
double rounded(double value, double step) { return std::ceil(value / step) * step; }

std::vector<Label> labelsOf(const PictureData& marks, const Plot& plot) {
    std::vector<Label> labels;
    for (const auto& mark : marks)
        labels.push_back({plot.x(mark.at("time").get<double>()), mark.at("text").get<std::string>()});
    std::stable_sort(labels.begin(), labels.end(), [](const Label& a, const Label& b) { return a.x < b.x; });
    return labels;
}

} // namespace

std::string drawTimeline(const PictureData& data) {
    const auto times = data.at("times").get<Series>();
    if (times.size() < 2)
        throw std::invalid_argument("there are fewer than two samples");
    const auto& fans = data.at("fans");
    const Plot::Range time{times.front(), times.back()};
    const double plotWidth = width - left - right;
    const Plot timeScale({left, 0}, plotWidth, 1, time, {0, 1});
    auto labels = labelsOf(data.at("marks"), timeScale);
    const int rows = arrange(labels);
    double top = titleHeight + rows * rowHeight + 10;

    Svg svg(width);
    svg.text({left, 26}, data.at("title").get<std::string>(), "title");
    drawLegend(svg, {left, 52},
               {{"speed", "measured speed"},
                {"held", "target in manual mode"},
                {"asked", "requested target"},
                {"chip", "chip"},
                {"lid", "lid closed", LegendEntry::Sign::area},
                {"sleep", "asleep", LegendEntry::Sign::area}});

    std::vector<Plot> panels;
    for (const auto& fan : fans) {
        const Plot plot({left, top}, plotWidth, panelHeight, time, {0, rounded(fan.at("maxRPM").get<double>(), 1000)});
        drawSpans(svg, plot, data.at("spans"));
        plot.drawRows(svg, 2000, "");
        drawSteps(svg, plot, times, fan.at("held"), "held");
        drawSeries(svg, plot, times, fan.at("asked"), "asked");
        drawSeries(svg, plot, times, fan.at("rpm"), "speed");
        svg.text({plot.right() + 12, plot.top() + 12}, fan.at("name").get<std::string>(), "strong");
        svg.text({plot.right() + 12, plot.top() + 28}, "RPM", "quiet");
        panels.push_back(plot);
        top += panelHeight + panelGap;
    }
    const Plot chip({left, top}, plotWidth, panelHeight, time, {20, 120});
    drawSpans(svg, chip, data.at("spans"));
    chip.drawRows(svg, 20, "");
    svg.line(chip.at(time.from, 89), chip.at(time.to, 89), "mark");
    svg.text({chip.right() + 12, chip.y(89) + 4}, "89 °C: more air", "small");
    drawSeries(svg, chip, times, data.at("chip"), "chip");
    svg.text({chip.right() + 12, chip.top() + 12}, "chip", "strong");
    svg.text({chip.right() + 12, chip.top() + 28}, "°C", "quiet");
    chip.drawColumns(svg, data.at("timeStep").get<double>(), " " + data.at("timeUnit").get<std::string>());

    for (const auto& label : labels) {
        const double y = titleHeight + label.row * rowHeight;
        svg.line({label.x, y - 9}, {label.x, chip.bottom()}, "mark");
        svg.text({label.x + 4, y}, label.text);
    }
    double y = chip.bottom() + 44;
    for (const auto& note : data.at("notes")) {
        svg.text({left, y}, note.get<std::string>(), "quiet");
        y += rowHeight;
    }
    return svg.file(y, data.at("title").get<std::string>());
}

} // namespace kelo::pictures
