#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/view/Line.h"
#include "protocol/FanSnapshot.h"

namespace kelo {

/// A number with so many digits behind the point, whatever the locale.
std::string decimal(double number, int digits);

/// A fraction in whole percents: "50 %".
std::string percentText(double fraction);

/// Where a speed lies in the fan's range, 0 to 1; none when the range is empty.
std::optional<double> fractionOfRange(double rpm, const FanSnapshot& snapshot);

/// The state in one line of plain text.
std::string summary(const FanSnapshot& snapshot);

/// The state as aligned lines: bars of `barColumns` columns, or none, and what they stand for.
std::vector<Line> gauges(const FanSnapshot& snapshot, std::size_t barColumns, const Style& style);

/// Columns that a gauge takes besides its bar.
constexpr std::size_t gaugeColumns = 32;
/// Columns of what stands before a gauge.
constexpr std::size_t labelColumns = 11;

/// The chip's temperature as a part of what a bar shows, 0 to 1.
double fractionOfHeat(double celsius);

/// The colour of a warmth.
Ink inkOf(const std::string& warmth);

} // namespace kelo
