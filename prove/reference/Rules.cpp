#include "prove/reference/Rules.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace kelo::reference {

double clampedFraction(double fraction) {
    if (fraction <= 0.0)
        return 0.0;
    return fraction > 1.0 ? 1.0 : fraction;
}

double targetRPM(double minRPM, double maxRPM, double fraction) {
    if (!(minRPM < maxRPM))
        return minRPM;
    return minRPM + (maxRPM - minRPM) * clampedFraction(fraction);
}

std::optional<double> smoothedCelsius(const std::vector<double>& readings) {
    if (readings.empty())
        return std::nullopt;
    const std::size_t count = std::min(readings.size(), smoothingWindow);
    double sum = 0.0;
    for (std::size_t i = readings.size() - count; i < readings.size(); ++i)
        sum += readings[i];
    return sum / static_cast<double>(count);
}

double floorFraction(double chipCelsius) {
    struct Point {
        double celsius;
        double fraction;
    };
    constexpr std::array<Point, 3> curve{{{89.0, 0.04}, {96.0, 0.5}, {101.0, 1.0}}};
    if (!(chipCelsius > curve.front().celsius))
        return 0.0; // the fraction of the first point applies only above its temperature
    if (!(chipCelsius < curve.back().celsius))
        return 1.0;
    const Point& b = chipCelsius <= curve[1].celsius ? curve[1] : curve[2];
    const Point& a = chipCelsius <= curve[1].celsius ? curve[0] : curve[1];
    return a.fraction + (chipCelsius - a.celsius) / (b.celsius - a.celsius) * (b.fraction - a.fraction);
}

double raisedToFloor(double asked, std::optional<double> chipCelsius) {
    if (!chipCelsius)
        return asked;
    const double floor = floorFraction(*chipCelsius);
    return asked > floor ? asked : floor;
}

double easedFraction(double from, double to) {
    if (from <= to)
        return to;
    const double limit = from + (-0.02);
    return to <= limit ? limit : to;
}

bool mayHold(bool isSleeping, bool isLidClosed, bool handsBackOnLidClose) {
    return !isSleeping && !(isLidClosed && handsBackOnLidClose);
}

bool readsAsClosed(const ClamshellProperty& property) {
    const auto* const boolean = std::get_if<bool>(&property);
    const auto* const number = std::get_if<double>(&property);
    return (boolean != nullptr && *boolean) ||
           (number != nullptr && *number == 1.0); // only 0 and 1 convert to a boolean
}

std::string warmthText(double celsius) {
    if (celsius < 60.0)
        return "cool";
    return celsius < 80.0 ? "warm" : "hot";
}

std::string hexText(std::int32_t code) {
    std::uint32_t magnitude = static_cast<std::uint32_t>(code);
    if (code < 0)
        magnitude = 0U - magnitude;
    std::string digits;
    do {
        digits.insert(digits.begin(), "0123456789ABCDEF"[magnitude % 16U]);
        magnitude /= 16U;
    } while (magnitude != 0U);
    return code < 0 ? "-" + digits : digits;
}

std::string doubleText(double value) {
    if (std::isnan(value))
        return "nan";
    std::array<char, 64> buffer{};
    const bool isTiny = value != 0.0 && std::fabs(value) < 1e-4; // fixed notation would print many zeros
    const auto format = isTiny ? std::chars_format::scientific : std::chars_format::fixed;
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, format).ptr;
    const std::string text(buffer.data(), end);
    return isTiny || text.find('.') != std::string::npos ? text : text + ".0";
}

std::string requirementText(const std::string& identifier, const std::string& team) {
    return "anchor apple generic and identifier \"" + identifier + "\" and certificate leaf[subject.OU] = \"" + team +
           "\"";
}

} // namespace kelo::reference
