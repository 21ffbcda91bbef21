#include "simulator/tools/pictures/Plot.h"

#include <cmath>

namespace kelo {
namespace {

std::string whole(double value) { return std::to_string(static_cast<long>(std::lround(value))); }

double firstMultiple(double step, double from) { return std::ceil(from / step) * step; }

} // namespace

void Plot::drawRows(Svg& svg, double step, const std::string& unit) const {
    for (double value = firstMultiple(step, y_.from); value <= y_.to; value += step) {
        svg.line({left(), y(value)}, {right(), y(value)}, "grid");
        svg.text({left() - 8, y(value) + 4}, whole(value) + unit, "quiet", Svg::Anchor::end);
    }
}

void Plot::drawRightScale(Svg& svg, double step, const std::string& unit) const {
    for (double value = firstMultiple(step, y_.from); value <= y_.to; value += step)
        svg.text({right() + 8, y(value) + 4}, whole(value) + unit, "quiet");
}

void Plot::drawColumns(Svg& svg, double step, const std::string& unit) const {
    for (double value = firstMultiple(step, x_.from); value <= x_.to; value += step)
        svg.text({x(value), bottom() + 18}, whole(value) + unit, "quiet", Svg::Anchor::middle);
}

void drawLegend(Svg& svg, Svg::Point at, const std::vector<LegendEntry>& entries) {
    constexpr double sign = 26;
    for (const auto& entry : entries) {
        if (entry.sign == LegendEntry::Sign::line)
            svg.line({at.x, at.y - 4}, {at.x + sign, at.y - 4}, entry.name);
        else
            svg.rect({at.x, at.y - 10}, sign, 12, entry.name);
        svg.text({at.x + sign + 6, at.y}, entry.text, "quiet");
        at.x += sign + 6 + Svg::widthOf(entry.text) + 14;
    }
}

} // namespace kelo
