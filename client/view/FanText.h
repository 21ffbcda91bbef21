#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/view/Line.h"
#include "protocol/FanSnapshot.h"

namespace kelo {

/// Rounds to `digits` digits after the point, in any locale.
std::string decimal(double number, int digits);

/// A speed with its place in the fan's range: "3000 RPM, 50 %", "1200 RPM, lowest". An empty range has no places.
std::string speedText(double rpm, const FanSnapshot& snapshot);

/// The place of a speed in the fan's range, 0 to 1; nullopt when the range is empty.
std::optional<double> fractionOfRange(double rpm, const FanSnapshot& snapshot);

/// Who controls the fans, in a few words.
std::string controlText(const FanSnapshot& snapshot);

/// How warm the chip is: "warm", or "unknown" without a reading.
std::string warmthText(const FanSnapshot& snapshot);

/// The state in one line of plain text.
std::string summary(const FanSnapshot& snapshot);

/// The state in as few words as a status bar has room for.
std::string statusBarText(const FanSnapshot& snapshot, const Style& style);

/// Speed, target and chip as aligned lines, with bars of `barColumns` columns, or without bars for 0.
std::vector<Line> gauges(const FanSnapshot& snapshot, std::size_t barColumns, const Style& style);

/// A line that is aligned with the gauges.
Line labelled(const std::string& name, const std::string& value, Ink ink = Ink::plain);

/// Columns that a gauge needs besides its bar.
constexpr std::size_t gaugeColumns = 32;
/// Columns of a gauge's label.
constexpr std::size_t labelColumns = 11;

/// Ends of the temperature scale, in degrees Celsius.
constexpr double coldest = 20;
constexpr double hottest = 110;

/// The colour of a warmth; plain for one that this program does not know.
Ink inkOf(const std::string& warmth);

} // namespace kelo
