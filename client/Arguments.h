#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace kelo {

/// A speed of the fastest fan, in revolutions per minute.
struct RPM {
    double value;

    bool operator==(const RPM&) const = default;
};

/// What to hold: a fraction of the fan's range, or RPM.
using Speed = std::variant<double, RPM>;

/// Understands "0.5", "50%", "50 %" and "3000rpm". Returns nullopt for anything else, and for a fraction outside of
/// 0...1.
std::optional<Speed> parseSpeed(std::string_view text);
/// Says that this is no speed, and what may have been meant.
std::string speedError(const std::string& text);

/// Understands "30m", "1h30m" and "90s"; in seconds. Returns nullopt for anything else, for no time at all, and for
/// more than a thousand hours.
std::optional<double> parseDuration(std::string_view text);
/// Says that this is no duration, and what may have been meant.
std::string durationError(const std::string& text);

} // namespace kelo
