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
    /// The largest decrease of the held fraction in one step. It makes the fans slow down gradually as the chip cools.
    static constexpr double fallPerStep = 0.02;

    /// The mean of the newest `smoothingWindow` readings; `readings` is ordered from oldest to newest. Returns nullopt
    /// if there are no readings.
    static std::optional<double> smoothed(std::span<const double> readings);

    /// The lowest fraction allowed at a chip temperature. Returns 0 for NaN and for temperatures up to 89 °C; above 89
    /// °C, starts at 0.04.
    static double fraction(double chipCelsius);

    /// The larger of `asked` and the floor; `asked` if the temperature is unknown.
    static double hold(double asked, std::optional<double> chipCelsius);

    /// Moves the held fraction from `from` towards `to`: up in one step, but down by at most `fallPerStep`.
    static double eased(double from, double to);
};

} // namespace kelo
