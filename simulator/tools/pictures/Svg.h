#pragma once

#include <string>
#include <utility>
#include <vector>

namespace kelo {

/// Builds a picture of a given width that is readable in light and dark mode. Units are pixels and y points down.
/// Shapes that are added later are drawn on top.
///
/// Classes name the colours, so that the reader's system chooses between light and dark mode:
/// - text: "title", "quiet", "small", "strong"
/// - lines: "grid", "mark", "speed", "held", "asked", "chip"
/// - areas: "box", "lid", "sleep", "dot", "ring", "head", "trust", "within", "beyond"
/// - a terminal: "screen", and for both text and areas "ink", "ink faint", "ink strong", "ink paper", "ink calm",
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
    /// Monospaced text that is exactly `width` wide in any font.
    void fixedText(Point at, const std::string& content, const std::string& name, double width);
    void line(Point from, Point to, const std::string& name);
    void arrow(Point from, Point to);
    /// Draws nothing if there are fewer than two points.
    void polyline(const std::vector<Point>& points, const std::string& name);
    void rect(Point corner, double width, double height, const std::string& name);
    void circle(Point centre, double radius, const std::string& name);

    double width() const { return width_; }

    /// The whole file. `title` is the text for screen readers.
    std::string file(double height, const std::string& title) const;

    /// Upper bound of the width of a text at a font size of 12 pixels.
    static double widthOf(const std::string& text) { return 6.8 * static_cast<double>(text.size()); }

private:
    double width_;
    std::string body_;
};

} // namespace kelo
