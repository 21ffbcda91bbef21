#pragma once

#include <string>
#include <vector>

#include "simulator/tools/pictures/Svg.h"

namespace kelo {

/// The area of a picture between two axes, with a scale for each.
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

    /// Draws a horizontal line at each multiple of `step`, with its value and unit to its left.
    void drawRows(Svg& svg, double step, const std::string& unit) const;
    /// Labels a second y axis on the right at each multiple of `step`, without lines.
    void drawRightScale(Svg& svg, double step, const std::string& unit) const;
    /// Labels the x axis at each multiple of `step`.
    void drawColumns(Svg& svg, double step, const std::string& unit) const;

private:
    Svg::Point corner_;
    double width_;
    double height_;
    Range x_;
    Range y_;
};

struct LegendEntry {
    enum class Sign { line, area };
    std::string name; ///< The class of the line or area that the entry explains.
    std::string text;
    Sign sign = Sign::line;
};

/// Draws the entries in one row, from the left.
void drawLegend(Svg& svg, Svg::Point at, const std::vector<LegendEntry>& entries);

} // namespace kelo
