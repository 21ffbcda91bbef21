#pragma once

#include <optional>
#include <string_view>

namespace kelo {

/// The chip's thermal category. Sent over the connection as text.
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

/// Parses a category's text, which is case-sensitive. Returns nullopt for any other text.
constexpr std::optional<Warmth> warmthFromText(std::string_view text) {
    for (const auto warmth : {Warmth::cool, Warmth::warm, Warmth::hot})
        if (text == warmthText(warmth))
            return warmth;
    return std::nullopt;
}

} // namespace kelo
