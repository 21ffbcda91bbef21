#pragma once

namespace kelo {

struct FanMath {
    FanMath() = delete;

    /// Clamps `fraction` to 0...1; returns NaN unchanged.
    static constexpr double clamped(double fraction) { return fraction <= 0 ? 0 : fraction > 1 ? 1 : fraction; }

    /// The speed, in RPM, at `fraction` of the range `min`...`max`; not rounded. The fraction is clamped.
    /// Returns `min` if the range is empty or inverted or a bound is NaN.
    static constexpr double target(double min, double max, double fraction) {
        if (!(min < max))
            return min;
        return min + (max - min) * clamped(fraction);
    }
};

} // namespace kelo
