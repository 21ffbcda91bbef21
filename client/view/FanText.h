#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/view/Line.h"
#include "protocol/FanSnapshot.h"

namespace kelo {

/// Rounds to `digits` digits after the point, in any locale.
std::string decimal(double number, int digits);

/// A speed with its fraction of the fan's range: "3000 RPM, 50 %", "1200 RPM, lowest"; only "3000 RPM" if the range is
/// empty.
std::string speedText(double rpm, const FanSnapshot& snapshot);

/// A speed as a fraction of the fan's range, 0 to 1; nullopt if the range is empty.
std::optional<double> fractionOfRange(double rpm, const FanSnapshot& snapshot);

/// Who controls the fans, in a few words.
std::string controlText(const FanSnapshot& snapshot);

/// How warm the chip is, such as "warm"; "unknown" if there is no reading.
std::string warmthText(const FanSnapshot& snapshot);

/// The state in one line of plain text.
std::string summary(const FanSnapshot& snapshot);

/// The state in a few words, short enough for a status bar.
std::string statusBarText(const FanSnapshot& snapshot, const Style& style);

/// Speed, target and chip as aligned lines with bars of `barColumns` columns; 0 omits the bars.
std::vector<Line> gauges(const FanSnapshot& snapshot, std::size_t barColumns, const Style& style);

/// A line that is aligned with the gauges.
Line labelled(const std::string& name, const std::string& value, Ink ink = Ink::plain);

/// The width of a gauge without its bar, in columns.
constexpr std::size_t gaugeColumns = 32;
/// The width of a gauge's label, in columns.
constexpr std::size_t labelColumns = 11;

/// The ends of the temperature scale, in degrees Celsius.
constexpr double coldest = 20;
constexpr double hottest = 110;

/// The colour of a warmth; plain if the warmth is unknown.
Ink inkOf(const std::string& warmth);

} // namespace kelo
