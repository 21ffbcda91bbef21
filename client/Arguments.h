#pragma once

#include <optional>
#include <string_view>

namespace kelo {

/// "0.5", "50%" or "50 %" as a fraction; none for anything else, and outside of 0...1.
std::optional<double> parseFraction(std::string_view text);

/// "30m", "1h30m" or "90s" in seconds; none for anything else, for nothing at all, and for more than a thousand hours.
std::optional<double> parseDuration(std::string_view text);

} // namespace kelo
