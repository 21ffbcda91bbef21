#include "client/Arguments.h"

#include <cstdint>
#include <locale>
#include <sstream>
#include <string>
#include <utility>

namespace kelo {
namespace {

constexpr std::int64_t longest = 3'600'000; // seconds

bool isDigit(char character) { return character >= '0' && character <= '9'; }

/// Takes a whole number off the beginning of the text; none when there is none, or it is too large to matter.
std::optional<std::int64_t> takeNumber(std::string_view& text) {
    std::int64_t number = 0;
    std::size_t digits = 0;
    for (; digits < text.size() && isDigit(text[digits]); ++digits) {
        number = number * 10 + (text[digits] - '0');
        if (number > longest)
            return std::nullopt;
    }
    text.remove_prefix(digits);
    return digits == 0 ? std::nullopt : std::optional(number);
}

} // namespace

std::optional<double> parseFraction(std::string_view text) {
    const bool isPercentage = text.ends_with('%');
    if (isPercentage) {
        text.remove_suffix(1);
        if (text.ends_with(' '))
            text.remove_suffix(1);
    }
    // A stream, since not every standard library reads floating-point numbers with from_chars. By default it would also
    // accept blanks, a plus sign and hexadecimal digits.
    if (text.find_first_not_of("0123456789.e-") != std::string_view::npos)
        return std::nullopt;
    std::istringstream stream{std::string(text)};
    stream.imbue(std::locale::classic());
    double number = 0;
    if (!(stream >> number) || stream.peek() != std::istringstream::traits_type::eof())
        return std::nullopt;
    if (isPercentage)
        number /= 100;
    if (!(number >= 0 && number <= 1))
        return std::nullopt;
    return number;
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

} // namespace kelo
