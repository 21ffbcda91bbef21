#pragma once

#include <string>
#include <vector>

#include "simulator/tools/pictures/Svg.h"

namespace kelo {

/// A rectangle of a picture with a scale on each axis.
class Plot {
public:
    struct Range {
        double from;
        double to;
    };

    Plot(Svg::Point corner, double width, double height, Range x, Range y)
        : corner_(corner), width_(width), height_(height), x_(x), y_(y) {}

    double x(double value) const { return corner_.x + (value - x_.from) / (x_.to - x_.from) * width_; }
    double y(double value) const { return corner_.y + height_ - (value - y_.from) / (y_.to - y_.from) * height_; }
    Svg::Point at(double xValue, double yValue) const { return {x(xValue), y(yValue)}; }
    double top() const { return corner_.y; }
    double bottom() const { return corner_.y + height_; }
    double left() const { return corner_.x; }
    double right() const { return corner_.x + width_; }
    const Range& xRange() const { return x_; }

    /// A line across at each multiple of `step`, with its value and the unit at the left.
    void drawRows(Svg& svg, double step, const std::string& unit) const;
    /// The values of a second y axis at each multiple of `step`, at the right and without lines.
    void drawRightScale(Svg& svg, double step, const std::string& unit) const;
    /// The values of the x axis at each multiple of `step`, below the plot.
    void drawColumns(Svg& svg, double step, const std::string& unit) const;

private:
    Svg::Point corner_;
    double width_;
    double height_;
    Range x_;
    Range y_;
};

/// A legend's entry.
struct LegendEntry {
    enum class Sign { line, area };
    std::string name; ///< The class of what it explains.
    std::string text;
    Sign sign = Sign::line;
};

/// One row of entries, from the left.
void drawLegend(Svg& svg, Svg::Point at, const std::vector<LegendEntry>& entries);

} // namespace kelo
