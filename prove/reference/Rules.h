// The arithmetic and the texts of the reference model.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/hold/Clamshell.h"

namespace kelo::reference {

// How many chip readings are averaged.
inline constexpr std::size_t smoothingWindow = 8;

// 0 or less becomes 0 and above 1 becomes 1; a NaN stays.
double clampedFraction(double fraction);
// Target speed for a fraction of a fan's range.
double targetRPM(double minRPM, double maxRPM, double fraction);
// Mean of the newest eight readings, oldest first; nothing for none.
std::optional<double> smoothedCelsius(const std::vector<double>& readings);
// Least fraction that a chip temperature demands.
double floorFraction(double chipCelsius);
// The asked fraction raised to the floor of a temperature, if there is one.
double raisedToFloor(double asked, std::optional<double> chipCelsius);
// One step from the previous fraction: rises at once, falls by 0.02 at most.
double easedFraction(double from, double to);
// Whether a hold may keep the fans.
bool mayHold(bool isSleeping, bool isLidClosed, bool handsBackOnLidClose);
// Whether the lid property reads as closed.
bool readsAsClosed(const ClamshellProperty& property);
// "cool", "warm" or "hot".
std::string warmthText(double celsius);
// Signed upper-case base 16 without padding, as written after "0x" in error texts.
std::string hexText(std::int32_t code);
// Shortest round-trip text of a double, with a fractional part, as written in event texts.
std::string doubleText(double value);
// Requirement that admits only this identifier signed by this team.
std::string requirementText(const std::string& identifier, const std::string& team);

} // namespace kelo::reference
