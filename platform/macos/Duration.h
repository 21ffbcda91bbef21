#pragma once

#include <cstdint>

namespace kelo {

/// `seconds` in nanoseconds, within what the system's functions take: not a number and negative are 0, more than 292
/// years are 292 years.
constexpr std::int64_t nanoseconds(double seconds) {
    constexpr double longest = 9.2e9;
    if (!(seconds > 0))
        return 0;
    return static_cast<std::int64_t>((seconds < longest ? seconds : longest) * 1e9);
}

} // namespace kelo
