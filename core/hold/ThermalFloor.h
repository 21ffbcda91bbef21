#pragma once

#include <optional>
#include <span>

namespace kelo {

/// Keeps a hold from starving a hot chip: the fraction below which a fan must not turn at a given chip temperature, and
/// how slowly a raised fraction may come down again. Pure; temperatures in degrees Celsius, fractions in 0...1.
struct ThermalFloor {
    ThermalFloor() = delete;

    /// How many of the newest chip readings are averaged.
    static constexpr int smoothingWindow = 8;
    /// The most by which the held fraction may fall in one step, so that a cooling chip slows the fan down gradually.
    static constexpr double fallPerStep = 0.02;

    /// The mean of the newest readings, at most `smoothingWindow` of them; `readings` has the oldest first. None when
    /// there are none.
    static std::optional<double> smoothed(std::span<const double> readings);

    /// The floor at a chip temperature. 0 up to and including 89 °C and for NaN; just above, it starts with a jump.
    static double fraction(double chipCelsius);

    /// The asked fraction raised to the floor; unchanged without a temperature.
    static double hold(double asked, std::optional<double> chipCelsius);

    /// One step from the previous held fraction towards a new one: up at once, down by `fallPerStep` at most.
    static double eased(double from, double to);
};

} // namespace kelo
