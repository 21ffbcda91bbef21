#pragma once

namespace kelo {

/// Fractions of a fan's speed range as speeds.
struct FanMath {
    FanMath() = delete;

    /// `fraction` brought into 0...1; NaN passes through.
    static constexpr double clamped(double fraction) { return fraction <= 0 ? 0 : fraction > 1 ? 1 : fraction; }

    /// The speed, in RPM, at `fraction` of the range `min`...`max`. The fraction is clamped.
    /// `min` when the range is empty, inverted or not a number. Not rounded.
    static constexpr double target(double min, double max, double fraction) {
        if (!(min < max))
            return min;
        return min + (max - min) * clamped(fraction);
    }
};

} // namespace kelo
