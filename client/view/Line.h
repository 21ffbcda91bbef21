#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kelo {

/// What a text means, from which its colour follows.
enum class Ink { plain, faint, strong, calm, good, warning, alarm };

/// A piece of a line.
struct Span {
    std::string text; ///< UTF-8, of characters that take one column each.
    Ink ink = Ink::plain;
};

using Line = std::vector<Span>;

/// What the output can show.
struct Style {
    bool hasColour = false;
    bool hasUnicode = false;
};

/// How many columns a text takes.
std::size_t columnsOf(const std::string& text);
std::size_t columnsOf(const Line& line);

/// The text, filled up with blanks to at least so many columns.
std::string padded(std::string text, std::size_t columns);

/// The line without what lies beyond so many columns.
Line cut(const Line& line, std::size_t columns);

/// The line as it is sent to the output, without a line end. Ends in the output's normal colour.
std::string painted(const Line& line, const Style& style);

} // namespace kelo
