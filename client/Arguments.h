#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace kelo {

/// The speed of the fastest fan, in revolutions per minute.
struct RPM {
    double value;

    bool operator==(const RPM&) const = default;
};

/// The speed to hold: a fraction of the fan's range, or RPM.
using Speed = std::variant<double, RPM>;

/// Parses speeds such as "0.5", "50%", "50 %" and "3000rpm". Returns nullopt for anything else, including a fraction
/// outside 0...1.
std::optional<Speed> parseSpeed(std::string_view text);
/// The error message for an invalid speed, with a suggestion if the text resembles a valid one.
std::string speedError(const std::string& text);

/// Parses durations such as "30m", "1h30m" and "90s" into seconds. Returns nullopt for anything else, including zero
/// and durations of more than a thousand hours.
std::optional<double> parseDuration(std::string_view text);
/// The error message for an invalid duration, with a suggestion if the text resembles a valid one.
std::string durationError(const std::string& text);

} // namespace kelo
