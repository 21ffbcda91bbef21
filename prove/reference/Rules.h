// The arithmetic and the texts of the reference model.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/hold/Clamshell.h"

namespace kelo::reference {

// Number of chip readings that are averaged.
inline constexpr std::size_t smoothingWindow = 8;

// Clamps to 0...1. A NaN remains a NaN.
double clampedFraction(double fraction);
double targetRPM(double minRPM, double maxRPM, double fraction);
// Mean of the newest eight readings, which are ordered from oldest to newest; nullopt if there are none.
std::optional<double> smoothedCelsius(const std::vector<double>& readings);
// The lowest fraction allowed at a chip temperature.
double floorFraction(double chipCelsius);
// The requested fraction, raised to the floor if the temperature is known.
double raisedToFloor(double asked, std::optional<double> chipCelsius);
// One step from the previous fraction: rises at once and falls by at most 0.02.
double easedFraction(double from, double to);
// Whether a hold may be in force now.
bool mayHold(bool isSleeping, bool isLidClosed, bool handsBackOnLidClose);
bool readsAsClosed(const ClamshellProperty& property);
// "cool", "warm" or "hot".
std::string warmthText(double celsius);
// Signed upper-case hexadecimal without padding, for use after "0x" in error texts.
std::string hexText(std::int32_t code);
// Shortest text that converts back to the same double, with a fractional part, for event texts.
std::string doubleText(double value);
// The code requirement that is satisfied only by programs that have this identifier and are signed by this team.
std::string requirementText(const std::string& identifier, const std::string& team);

} // namespace kelo::reference
