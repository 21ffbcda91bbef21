#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/view/Line.h"
#include "protocol/FanSnapshot.h"

namespace kelo {

/// Formats a number with `digits` digits after the decimal point, in the same way in every locale.
std::string decimal(double number, int digits);

/// A speed and its fraction of the fan's range, such as "3000 RPM, 50 %" or "1200 RPM, lowest". If the range is empty,
/// only the speed, such as "3000 RPM".
std::string speedText(double rpm, const FanSnapshot& snapshot);

/// A speed as a fraction of the fan's range, 0 to 1; nullopt if the range is empty.
std::optional<double> fractionOfRange(double rpm, const FanSnapshot& snapshot);

/// A few words that say who controls the fans.
std::string controlText(const FanSnapshot& snapshot);

/// The warmth of the chip, such as "warm"; "unknown" if there is no reading.
std::string warmthText(const FanSnapshot& snapshot);

/// The state of the fans in one line of plain text.
std::string summary(const FanSnapshot& snapshot);

/// The state of the fans in a few words, short enough for a status bar.
std::string statusBarText(const FanSnapshot& snapshot, const Style& style);

/// The speed, the target and the chip temperature as aligned lines with bars that are `barColumns` columns wide; 0
/// omits the bars.
std::vector<Line> gauges(const FanSnapshot& snapshot, std::size_t barColumns, const Style& style);

/// A line with a label and a value that are aligned with the gauges.
Line labelled(const std::string& name, const std::string& value, Ink ink = Ink::plain);

/// The width of a gauge without its bar, in columns.
constexpr std::size_t gaugeColumns = 32;
/// The width of a gauge's label, in columns.
constexpr std::size_t labelColumns = 11;

/// The ends of the temperature scale, in degrees Celsius.
constexpr double coldest = 20;
constexpr double hottest = 110;

/// The colour for the text of a warmth category; plain if the category is unknown.
Ink inkOf(const std::string& warmth);

} // namespace kelo
