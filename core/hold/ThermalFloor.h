#pragma once

#include <optional>
#include <span>

namespace kelo {

/// Keeps a hold from running the fans too slowly for a hot chip: computes the lowest fraction allowed at a chip
/// temperature, and limits how fast a raised fraction falls again. Pure functions; temperatures in degrees Celsius,
/// fractions in 0...1.
struct ThermalFloor {
    ThermalFloor() = delete;

    static constexpr int smoothingWindow = 8;
    /// The most by which the held fraction falls in one step, so that the fans slow down gradually as the chip cools.
    static constexpr double fallPerStep = 0.02;

    /// The mean of the newest `smoothingWindow` readings; `readings` is ordered from oldest to newest. Nullopt without
    /// readings.
    static std::optional<double> smoothed(std::span<const double> readings);

    /// The floor at a chip temperature. 0 for NaN and up to and including 89 °C; jumps to 0.04 just above.
    static double fraction(double chipCelsius);

    /// The asked fraction raised to the floor; unchanged if the temperature is unknown.
    static double hold(double asked, std::optional<double> chipCelsius);

    /// Eases the held fraction from `from` towards `to`: up at once, down by at most `fallPerStep`.
    static double eased(double from, double to);
};

} // namespace kelo
