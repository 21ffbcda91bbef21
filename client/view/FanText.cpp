#include "client/view/FanText.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace kelo {
namespace {

std::string repeated(const std::string& text, std::size_t times) {
    std::string all;
    while (times-- > 0)
        all += text;
    return all;
}

Line gauge(const std::string& name, std::optional<double> fraction, std::size_t columns, const Span& value,
           const Style& style) {
    auto line = labelled(name, "");
    if (columns > 0) {
        const auto full = static_cast<std::size_t>(std::lround(fraction.value_or(0) * static_cast<double>(columns)));
        line.push_back({repeated(style.hasUnicode ? "█" : "#", full), value.ink});
        line.push_back({repeated(style.hasUnicode ? "░" : ".", columns - full) + "  ", Ink::faint});
    }
    line.push_back(value);
    return line;
}

Line chipGauge(const FanSnapshot& snapshot, std::size_t columns, const Style& style) {
    const auto& celsius = snapshot.chipCelsius;
    if (!celsius)
        return labelled("chip", "unknown; a hold does not raise the fans when it gets hot", Ink::warning);
    const auto text = decimal(*celsius, 1) + (style.hasUnicode ? " °C, " : " C, ") + snapshot.warmth;
    return gauge("chip", std::clamp((*celsius - coldest) / (hottest - coldest), 0.0, 1.0), columns,
                 {text, inkOf(snapshot.warmth)}, style);
}

} // namespace

std::string decimal(double number, int digits) {
    char text[400]; // holds any double
    return {text, std::to_chars(text, text + sizeof text, number, std::chars_format::fixed, digits).ptr};
}

std::optional<double> fractionOfRange(double rpm, const FanSnapshot& snapshot) {
    const double range = snapshot.maxRPM - snapshot.minRPM;
    if (!(range > 0))
        return std::nullopt;
    return std::clamp((rpm - snapshot.minRPM) / range, 0.0, 1.0);
}

std::string speedText(double rpm, const FanSnapshot& snapshot) {
    const auto fraction = fractionOfRange(rpm, snapshot);
    const auto percent = decimal(fraction.value_or(0) * 100, 0);
    return decimal(rpm, 0) + " RPM" +
           (!fraction          ? ""
            : percent == "0"   ? ", lowest"
            : percent == "100" ? ", highest"
                               : ", " + percent + " %");
}

std::string controlText(const FanSnapshot& snapshot) {
    if (snapshot.lidHasFan)
        return "waiting: the lid is closed, or the fans could not be taken again";
    if (!snapshot.underKeloControl)
        return "automatic";
    return snapshot.addingAir ? "held, raised: the chip is hot" : "held";
}

std::string warmthText(const FanSnapshot& snapshot) { return snapshot.chipCelsius ? snapshot.warmth : "unknown"; }

Ink inkOf(const std::string& warmth) {
    return warmth == "hot" ? Ink::alarm : warmth == "warm" ? Ink::warning : warmth == "cool" ? Ink::good : Ink::plain;
}

std::string summary(const FanSnapshot& snapshot) {
    std::string text = "no usable fan";
    if (snapshot.fanCount > 0)
        text = decimal(snapshot.currentRPM, 0) + " RPM, target " + decimal(snapshot.targetRPM, 0) + ", range " +
               decimal(snapshot.minRPM, 0) + "..." + decimal(snapshot.maxRPM, 0);
    text += "; " + controlText(snapshot) + "; chip " + warmthText(snapshot);
    if (snapshot.chipCelsius)
        text += ", " + decimal(*snapshot.chipCelsius, 1) + " degrees";
    return visible(text);
}

std::string statusBarText(const FanSnapshot& snapshot, const Style& style) {
    auto text = snapshot.fanCount > 0 ? decimal(snapshot.currentRPM, 0) + " RPM" : "no fan";
    text += snapshot.lidHasFan           ? " waiting"
            : !snapshot.underKeloControl ? ""
            : snapshot.addingAir         ? " raised"
                                         : " held";
    if (snapshot.chipCelsius)
        text += " " + decimal(*snapshot.chipCelsius, 0) + (style.hasUnicode ? "°C" : "C");
    return text;
}

Line labelled(const std::string& name, const std::string& value, Ink ink) {
    return {{padded(name, labelColumns), Ink::faint}, {value, ink}};
}

std::vector<Line> gauges(const FanSnapshot& snapshot, std::size_t barColumns, const Style& style) {
    if (snapshot.fanCount == 0)
        return {labelled("fans", "no usable fan"), chipGauge(snapshot, barColumns, style)};
    const auto speedGauge = [&](const std::string& name, double rpm) {
        return gauge(name, fractionOfRange(rpm, snapshot), barColumns, {speedText(rpm, snapshot), Ink::calm}, style);
    };
    return {speedGauge("speed", snapshot.currentRPM), speedGauge("target", snapshot.targetRPM),
            chipGauge(snapshot, barColumns, style)};
}

} // namespace kelo
