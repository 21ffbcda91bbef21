// Draws the figures that have a target, each as a share of it: what ends left of the line is within its target.
//
// usage: bench_chart JSON >SVG: what ./dev bench has left

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

namespace {

// The picture's measures, in pixels.
constexpr double width = 1100;
constexpr double left = 380;  // room for the names
constexpr double right = 170; // and for the values
constexpr double top = 60;
constexpr double rowHeight = 30;
constexpr double barHeight = 10;
constexpr double longest = 3; // times the target; what is longer is cut off

struct Row {
    std::string name;
    std::string unit;
    double target;
    double value;
};

nlohmann::json read(const char* file) { return nlohmann::json::parse(std::ifstream(file)).at("figures"); }

std::vector<Row> rowsOf(const nlohmann::json& figures) {
    std::vector<Row> rows;
    for (const auto& figure : figures)
        if (figure.contains("target"))
            rows.push_back({figure["name"], figure["unit"], figure["target"], figure["value"]});
    return rows;
}

double x(double share) { return left + std::clamp(share, 0.0, longest) / longest * (width - left - right); }

/// A target of nothing at all is kept by nothing and missed by everything else.
double shareOf(double value, double target) {
    if (target > 0)
        return value / target;
    return value > 0 ? longest : 0;
}

std::string text(double textX, double y, const std::string& content, const std::string& attributes) {
    std::ostringstream svg;
    svg << "<text x=\"" << textX << "\" y=\"" << y << "\" " << attributes << ">" << content << "</text>\n";
    return svg.str();
}

std::string bar(double y, double share, const char* colour) {
    std::ostringstream svg;
    svg << "<rect x=\"" << left << "\" y=\"" << y << "\" width=\"" << std::max(x(share) - left, 1.0) << "\" height=\""
        << barHeight << "\" fill=\"" << colour << "\"/>\n";
    return svg.str();
}

std::string shortNumber(double value) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%.4g", value);
    return digits;
}

std::string draw(const std::vector<Row>& rows) {
    const double height = top + rowHeight * static_cast<double>(rows.size()) + 20;
    std::ostringstream svg;
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\"" << height
        << "\" font-family=\"sans-serif\" font-size=\"12\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << text(left, 24, "share of the target", "font-weight=\"bold\"")
        << text(x(1), top - 8, "target", "text-anchor=\"middle\" fill=\"#555\"");
    double y = top;
    for (const auto& [name, unit, target, value] : rows) {
        const double share = shareOf(value, target);
        svg << text(left - 8, y + 14, name, "text-anchor=\"end\"");
        svg << bar(y, share, share <= 1 ? "#2ca02c" : "#d62728")
            << text(width - right + 8, y + 14, shortNumber(value) + " of " + shortNumber(target) + " " + unit, "");
        y += rowHeight;
    }
    svg << "<line x1=\"" << x(1) << "\" y1=\"" << top - 4 << "\" x2=\"" << x(1) << "\" y2=\"" << height - 20
        << "\" stroke=\"#555\" stroke-dasharray=\"4 3\"/>\n</svg>\n";
    return svg.str();
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc != 2)
            throw std::invalid_argument("usage: bench_chart JSON >SVG");
        std::cout << draw(rowsOf(read(argv[1])));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_chart: %s\n", error.what());
        return 1;
    }
}
