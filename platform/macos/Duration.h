#pragma once

#include <cstdint>

namespace kelo {

/// Converts seconds to nanoseconds in the range that the system's functions accept: NaN and negative values become 0,
/// and values above 292 years become 292 years.
constexpr std::int64_t nanoseconds(double seconds) {
    constexpr double longest = 9.2e9;
    if (!(seconds > 0))
        return 0;
    return static_cast<std::int64_t>((seconds < longest ? seconds : longest) * 1e9);
}

} // namespace kelo
