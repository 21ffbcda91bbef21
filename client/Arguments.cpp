#include "client/Arguments.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <locale>
#include <sstream>
#include <string>
#include <utility>

namespace kelo {
namespace {

constexpr std::int64_t longest = 3'600'000; // seconds

/// Removes a leading whole number from the text. Returns nullopt if there is no number or it is too large.
std::optional<std::int64_t> takeNumber(std::string_view& text) {
    std::int64_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || text.starts_with('-') || number > longest)
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
    return number;
}

/// Parses a decimal number in the C locale. Returns nullopt for blanks, signs, hexadecimal digits, infinities and NaN.
std::optional<double> parseNumber(std::string_view text) {
    // Does not use from_chars, since some standard libraries do not support it for floating-point numbers.
    if (text.find_first_not_of("0123456789.e-") != std::string_view::npos)
        return std::nullopt;
    std::istringstream stream{std::string(text)};
    stream.imbue(std::locale::classic());
    double number = 0;
    if (!(stream >> number) || stream.peek() != std::istringstream::traits_type::eof())
        return std::nullopt;
    return number;
}

/// Removes the unit at the end of the text and one blank before the unit. Returns whether the text ended with the unit.
bool takeUnit(std::string_view& text, std::string_view unit) {
    if (!text.ends_with(unit))
        return false;
    text.remove_suffix(unit.size());
    if (text.ends_with(' '))
        text.remove_suffix(1);
    return true;
}

std::string suggestion(const std::string& guess) { return "; did you mean " + guess + "?"; }

} // namespace

std::optional<Speed> parseSpeed(std::string_view text) {
    const bool isRPM = takeUnit(text, "rpm") || takeUnit(text, "RPM");
    const bool isPercentage = !isRPM && takeUnit(text, "%");
    const auto number = parseNumber(text);
    if (!number || !(*number >= 0))
        return std::nullopt;
    if (isRPM)
        return RPM{*number};
    const double fraction = isPercentage ? *number / 100 : *number;
    return fraction <= 1 ? std::optional<Speed>(fraction) : std::nullopt;
}

std::string speedError(const std::string& text) {
    auto withPoint = text;
    std::replace(withPoint.begin(), withPoint.end(), ',', '.');
    const auto number = parseNumber(withPoint);
    const auto guess = parseSpeed(withPoint)    ? suggestion(withPoint)
                       : !number || *number < 0 ? ""
                       : *number <= 100         ? suggestion(withPoint + "%")
                                                : suggestion(withPoint + "rpm");
    return "\"" + text + "\" is not a speed (0 to 1, 0% to 100%, or 3000rpm)" + guess;
}

std::optional<double> parseDuration(std::string_view text) {
    std::int64_t seconds = 0;
    for (const auto& [unit, size] : {std::pair('h', 3600), std::pair('m', 60), std::pair('s', 1)}) {
        auto rest = text;
        const auto number = takeNumber(rest);
        if (!number || !rest.starts_with(unit))
            continue;
        seconds += *number * size;
        text = rest.substr(1);
    }
    if (!text.empty() || seconds == 0 || seconds > longest)
        return std::nullopt;
    return static_cast<double>(seconds);
}

std::string durationError(const std::string& text) {
    const bool isNumber = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    return "\"" + text + "\" is not a time (90s, 30m or 1h30m)" +
           (isNumber ? suggestion(text + "s or " + text + "m") : "");
}

} // namespace kelo
