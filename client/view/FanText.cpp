#include "client/view/FanText.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace kelo {
namespace {

constexpr double coldest = 20; // degrees Celsius, where a bar begins
constexpr double hottest = 110;

std::string controlText(const FanSnapshot& snapshot) {
    if (snapshot.lidHasFan)
        return "handed back while the lid is closed";
    if (!snapshot.underKeloControl)
        return "automatic";
    return snapshot.addingAir ? "held, with added air for a hot chip" : "held";
}

std::string repeated(const std::string& text, std::size_t times) {
    std::string all;
    while (times-- > 0)
        all += text;
    return all;
}

Line label(const std::string& text) { return {{padded(text, labelColumns), Ink::faint}}; }

Line row(const std::string& name, const std::string& value, Ink ink = Ink::plain) {
    auto line = label(name);
    line.push_back({value, ink});
    return line;
}

Line barRow(const std::string& name, std::optional<double> fraction, std::size_t columns, const Span& value,
            const Style& style) {
    auto line = label(name);
    if (columns > 0) {
        const auto full = static_cast<std::size_t>(std::lround(fraction.value_or(0) * static_cast<double>(columns)));
        line.push_back({repeated(style.hasUnicode ? "█" : "#", full), value.ink});
        line.push_back({repeated(style.hasUnicode ? "░" : ".", columns - full) + "  ", Ink::faint});
    }
    line.push_back(value);
    return line;
}

Line speedRow(const std::string& name, double rpm, const FanSnapshot& snapshot, std::size_t columns,
              const Style& style) {
    const auto fraction = fractionOfRange(rpm, snapshot);
    const auto text = decimal(rpm, 0) + " RPM" + (fraction ? ", " + percentText(*fraction) : "");
    return barRow(name, fraction, columns, {text, Ink::calm}, style);
}

Line chipRow(const FanSnapshot& snapshot, std::size_t columns, const Style& style) {
    const auto ink = inkOf(snapshot.warmth);
    const auto& celsius = snapshot.chipCelsius;
    if (!celsius)
        return row("chip", snapshot.warmth + "; no temperature to be read", ink);
    const auto text = decimal(*celsius, 1) + (style.hasUnicode ? " °C, " : " C, ") + snapshot.warmth;
    return barRow("chip", fractionOfHeat(*celsius), columns, {text, ink}, style);
}

} // namespace

std::string decimal(double number, int digits) {
    char text[400]; // holds any double
    return {text, std::to_chars(text, text + sizeof text, number, std::chars_format::fixed, digits).ptr};
}

std::string percentText(double fraction) { return decimal(fraction * 100, 0) + " %"; }

std::optional<double> fractionOfRange(double rpm, const FanSnapshot& snapshot) {
    const double range = snapshot.maxRPM - snapshot.minRPM;
    if (!(range > 0))
        return std::nullopt;
    return std::clamp((rpm - snapshot.minRPM) / range, 0.0, 1.0);
}

double fractionOfHeat(double celsius) { return std::clamp((celsius - coldest) / (hottest - coldest), 0.0, 1.0); }

Ink inkOf(const std::string& warmth) {
    return warmth == "hot" ? Ink::alarm : warmth == "warm" ? Ink::warning : Ink::good;
}

std::string summary(const FanSnapshot& snapshot) {
    std::string text;
    if (snapshot.fanCount == 0)
        text = "no usable fan";
    else
        text = decimal(snapshot.currentRPM, 0) + " RPM, target " + decimal(snapshot.targetRPM, 0) + ", range " +
               decimal(snapshot.minRPM, 0) + "..." + decimal(snapshot.maxRPM, 0);
    text += "; " + controlText(snapshot) + "; chip " + snapshot.warmth;
    if (snapshot.chipCelsius)
        text += ", " + decimal(*snapshot.chipCelsius, 1) + " degrees";
    return text;
}

std::vector<Line> gauges(const FanSnapshot& snapshot, std::size_t barColumns, const Style& style) {
    std::vector<Line> lines;
    if (snapshot.fanCount == 0) {
        lines.push_back(row("fan", "no usable fan"));
    } else {
        lines.push_back(speedRow("speed", snapshot.currentRPM, snapshot, barColumns, style));
        lines.push_back(speedRow("target", snapshot.targetRPM, snapshot, barColumns, style));
        lines.push_back(chipRow(snapshot, barColumns, style));
        lines.push_back(row(
            "range",
            decimal(snapshot.minRPM, 0) + " to " + decimal(snapshot.maxRPM, 0) + " RPM" +
                (snapshot.fanCount > 1 ? ", of the fastest of " + std::to_string(snapshot.fanCount) + " fans" : "")));
    }
    if (snapshot.fanCount == 0)
        lines.push_back(chipRow(snapshot, barColumns, style));
    lines.push_back(row("control", snapshot.underKeloControl ? "held" : "automatic",
                        snapshot.underKeloControl ? Ink::strong : Ink::plain));
    lines.push_back(row("added air", snapshot.addingAir ? "yes, for a hot chip" : "none",
                        snapshot.addingAir ? Ink::warning : Ink::plain));
    lines.push_back(row("lid", snapshot.lidHasFan ? "closed; the fan is handed back until it opens"
                                                  : "open, or no hold asks about it"));
    return lines;
}

} // namespace kelo
