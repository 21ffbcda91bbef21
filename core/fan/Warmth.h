#pragma once

#include <optional>
#include <string_view>

namespace kelo {

/// The chip's thermal category. Crosses the connection as text.
enum class Warmth { cool, warm, hot };

constexpr std::string_view warmthText(Warmth warmth) {
    switch (warmth) {
    case Warmth::cool:
        return "cool";
    case Warmth::warm:
        return "warm";
    case Warmth::hot:
        return "hot";
    }
    return {};
}

/// Returns nullopt for any other text; the comparison is case-sensitive.
constexpr std::optional<Warmth> warmthFromText(std::string_view text) {
    for (const auto warmth : {Warmth::cool, Warmth::warm, Warmth::hot})
        if (text == warmthText(warmth))
            return warmth;
    return std::nullopt;
}

} // namespace kelo
