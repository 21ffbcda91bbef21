#include "simulator/tools/rehearsal/Timeline.h"

#include <sstream>

namespace kelo {
namespace {

// The picture's measures, in pixels.
constexpr double width = 1100;
constexpr double left = 60;
constexpr double right = 60;
constexpr double top = 110; // room for the slanted names of the marks
constexpr double plotHeight = 300;
constexpr double bottom = top + plotHeight;
constexpr double barHeight = 14;
constexpr double height = bottom + 90;

constexpr double topSpeed = 7000;      // RPM
constexpr double topTemperature = 140; // degrees

const char* const fanColours[] = {"#1f77b4", "#2ca02c", "#9467bd", "#8c564b"};
constexpr const char* chipColour = "#d62728";

const char* fanColour(std::size_t fan) { return fanColours[fan % std::size(fanColours)]; }

double speedY(double rpm) { return bottom - rpm / topSpeed * plotHeight; }

double temperatureY(double celsius) { return bottom - celsius / topTemperature * plotHeight; }

std::string text(double x, double y, const std::string& content, const std::string& attributes = "") {
    std::ostringstream svg;
    svg << "<text x=\"" << x << "\" y=\"" << y << "\" " << attributes << ">" << content << "</text>\n";
    return svg.str();
}

std::string line(double x1, double y1, double x2, double y2, const std::string& attributes) {
    std::ostringstream svg;
    svg << "<line x1=\"" << x1 << "\" y1=\"" << y1 << "\" x2=\"" << x2 << "\" y2=\"" << y2 << "\" " << attributes
        << "/>\n";
    return svg.str();
}

} // namespace

std::string Timeline::svg() const {
    std::ostringstream svg;
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\"" << height
        << "\" font-family=\"sans-serif\" font-size=\"11\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << axes() << manualSpans() << markLines() << temperatureCurve();
    for (std::size_t fan = 0; fan < samples_.front().fans.size(); ++fan)
        svg << speedCurve(fan);
    svg << "</svg>\n";
    return svg.str();
}

double Timeline::x(double seconds) const { return left + seconds / duration() * (width - left - right); }

std::string Timeline::axes() const {
    std::string svg;
    for (double rpm = 0; rpm <= topSpeed; rpm += 1000) {
        svg += line(left, speedY(rpm), width - right, speedY(rpm), "stroke=\"#ddd\"");
        svg += text(left - 8, speedY(rpm) + 4, std::to_string(static_cast<int>(rpm)), "text-anchor=\"end\"");
        const auto celsius = rpm / topSpeed * topTemperature;
        svg += text(width - right + 8, speedY(rpm) + 4, std::to_string(static_cast<int>(celsius)) + "°",
                    std::string("fill=\"") + chipColour + "\"");
    }
    for (double seconds = 0; seconds <= duration(); seconds += 10)
        svg +=
            text(x(seconds), bottom + 16, std::to_string(static_cast<int>(seconds)) + " s", "text-anchor=\"middle\"");
    svg += text(width - right + 8, top - 12, "chip", std::string("fill=\"") + chipColour + "\"");
    return svg + text(left - 8, top - 12, "RPM", "text-anchor=\"end\"");
}

/// A bar for each fan below the curves, drawn where the fan is in manual mode.
std::string Timeline::manualSpans() const {
    std::ostringstream svg;
    for (std::size_t fan = 0; fan < samples_.front().fans.size(); ++fan) {
        const double y = bottom + 26 + static_cast<double>(fan) * (barHeight + 4);
        svg << text(left - 8, y + 11, "fan " + std::to_string(fan), "text-anchor=\"end\"");
        for (std::size_t i = 0; i + 1 < samples_.size(); ++i)
            if (samples_[i].fans[fan].isManual)
                svg << "<rect x=\"" << x(samples_[i].seconds) << "\" y=\"" << y << "\" width=\""
                    << x(samples_[i + 1].seconds) - x(samples_[i].seconds) << "\" height=\"" << barHeight
                    << "\" fill=\"" << fanColour(fan) << "\" opacity=\"0.5\"/>\n";
    }
    svg << text(width - right + 8, bottom + 37, "= held");
    return svg.str();
}

std::string Timeline::speedCurve(std::size_t fan) const {
    std::ostringstream svg;
    svg << "<polyline fill=\"none\" stroke-width=\"2\" stroke=\"" << fanColour(fan) << "\" points=\"";
    for (const auto& sample : samples_)
        svg << x(sample.seconds) << "," << speedY(sample.fans[fan].rpm) << " ";
    svg << "\"/>\n";
    return svg.str();
}

std::string Timeline::temperatureCurve() const {
    std::ostringstream svg;
    svg << "<polyline fill=\"none\" stroke-width=\"1.5\" stroke-dasharray=\"4 3\" stroke=\"" << chipColour
        << "\" points=\"";
    for (const auto& sample : samples_)
        svg << x(sample.seconds) << "," << temperatureY(sample.chipCelsius) << " ";
    svg << "\"/>\n";
    return svg.str();
}

std::string Timeline::markLines() const {
    std::ostringstream svg;
    for (const auto& mark : marks_) {
        const double at = x(mark.seconds);
        svg << line(at, top - 6, at, bottom, "stroke=\"#888\" stroke-dasharray=\"2 3\"");
        std::ostringstream slanted;
        slanted << "transform=\"rotate(-35 " << at << " " << top - 10 << ")\"";
        svg << text(at, top - 10, mark.text, slanted.str());
    }
    return svg.str();
}

} // namespace kelo
