#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
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

/// What the figures of ./dev bench are called in plain words; a figure that is not in here keeps its name.
const std::map<std::string, std::string> labels = {
    {"memory-machine.tick.ratio", "tick in memory, beside its exchanges"},
    {"memory-machine.tick.allocations", "allocations of a tick"},
    {"holding.tick.ratio", "tick, beside the least"},
    {"requests.version.p50.ratio", "version request, median, beside the least"},
    {"requests.version.p99.ratio", "version request, 99th percentile, beside the least"},
    {"requests.snapshot.p50.ratio", "snapshot request, median, beside the least"},
    {"requests.snapshot.p99.ratio", "snapshot request, 99th percentile, beside the least"},
    {"clients.memory", "memory of each client"},
    {"clients.10.slowdown", "throughput lost with 10 clients"},
    {"clients.100.slowdown", "throughput lost with 100 clients"},
    {"clients.1000.slowdown", "throughput lost with 1,000 clients"},
    {"idling.wake-ups", "wake-ups while idle"},
    {"memory.idle.private-without-libraries", "private memory, idle"},
    {"memory.holding.private-without-libraries", "private memory, holding"},
    {"memory.after-10000-requests.private-without-libraries", "private memory after 10,000 requests"},
    {"start.p50.ratio", "start, beside the least"},
    {"hand-back.holding.last-fan.beyond-exchanges", "SIGTERM to the last fan, beyond the exchanges"},
    {"hand-back.sleep.beyond-exchanges", "sleep to its acknowledgement, beyond the exchanges"},
    {"hand-back.holding.exit.p99.ratio", "SIGTERM to exit, beside the least"},
    {"size.app.kelo.helper", "size of the helper"},
};

std::string labelOf(const std::string& name) {
    const auto found = labels.find(name);
    return found == labels.end() ? name : found->second;
}

std::string valueText(const PictureData& figure) {
    const auto unit = figure.at("unit").get<std::string>();
    const std::string shown = unit == "ratio" ? "times" : unit == "percent" ? "%" : unit;
    std::array<char, 128> text{};
    std::snprintf(text.data(), text.size(), "%.3g %s, target %.4g", figure.at("value").get<double>(), shown.c_str(),
                  figure.at("target").get<double>());
    return text.data();
}

/// Only nothing at all meets a target of 0.
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
    svg.text({left, 30}, "What the helper costs, as shares of the targets", "title");
    drawLegend(
        svg, {left, 52},
        {{"within", "up to the target", LegendEntry::Sign::area}, {"beyond", "beyond it", LegendEntry::Sign::area}});
    svg.text({plot.x(1), top - 8}, "target", "quiet", Svg::Anchor::middle);
    double y = top + rowHeight / 2;
    for (const auto& figure : figures) {
        const double share = shareOf(figure);
        svg.text({left - 12, y + 4}, labelOf(figure.at("name").get<std::string>()), "", Svg::Anchor::end);
        svg.rect({left, y - barHeight / 2}, std::max(plot.x(std::min(share, 1.0)) - left, 1.0), barHeight, "within");
        if (share > 1)
            svg.rect({plot.x(1), y - barHeight / 2}, plot.x(share) - plot.x(1), barHeight, "beyond");
        svg.text({plot.right() + 12, y + 4}, valueText(figure), "quiet");
        y += rowHeight;
    }
    svg.line({plot.x(1), top - 4}, {plot.x(1), plot.bottom()}, "mark");
    return svg.file(plot.bottom() + 20, "What the helper costs, as shares of the targets");
}

} // namespace kelo::pictures
