#pragma once

#include <string>
#include <utility>
#include <vector>

namespace kelo {

/// A picture as it grows: a page of a given width that is readable on light and on dark ground. Measures are pixels,
/// with y pointing down. What is added later lies above.
///
/// Colours are named by classes, so that the reader's own system decides between the two grounds:
/// - text: "title", "quiet", "small", "strong"
/// - lines: "grid", "mark", "speed", "held", "asked", "chip"
/// - areas: "box", "lid", "sleep", "dot", "ring", "head", "trust", "within", "beyond"
/// - a terminal: "screen", and for text and areas alike "ink", "ink faint", "ink strong", "ink paper", "ink calm",
///   "ink good", "ink warning", "ink alarm"
class Svg {
public:
    struct Point {
        double x;
        double y;
    };
    enum class Anchor { start, middle, end };

    explicit Svg(double width) : width_(width) {}

    void text(Point at, const std::string& content, const std::string& name = "", Anchor anchor = Anchor::start);
    /// Text of a fixed pitch that takes exactly `width`, whatever font the reader has.
    void fixedText(Point at, const std::string& content, const std::string& name, double width);
    void line(Point from, Point to, const std::string& name);
    /// A line with a head at its end.
    void arrow(Point from, Point to);
    /// Nothing for fewer than two points.
    void polyline(const std::vector<Point>& points, const std::string& name);
    void rect(Point corner, double width, double height, const std::string& name);
    void circle(Point centre, double radius, const std::string& name);

    double width() const { return width_; }

    /// The whole file. `title` is what a reader who sees no picture is told.
    std::string file(double height, const std::string& title) const;

    /// How wide a text comes out at most, at 12 pixels.
    static double widthOf(const std::string& text) { return 6.8 * static_cast<double>(text.size()); }

private:
    double width_;
    std::string body_;
};

} // namespace kelo
