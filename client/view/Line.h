#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kelo {

/// What a text means, from which its colour follows.
enum class Ink { plain, faint, strong, title, calm, good, warning, alarm };

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

/// A text from elsewhere, without anything that steers a terminal: control characters are shown as ^[ and the like.
std::string visible(const std::string& text);

/// The lines of a text, without their ends.
std::vector<std::string> linesOf(const std::string& text);

/// How many columns a text takes.
std::size_t columnsOf(const std::string& text);
std::size_t columnsOf(const Line& line);

/// The text, padded with blanks at its end, or at its beginning, to at least so many columns.
std::string padded(std::string text, std::size_t columns);
std::string paddedLeft(const std::string& text, std::size_t columns);

/// The line in at most so many columns. A line that is too long ends in a mark.
Line cut(const Line& line, std::size_t columns, const Style& style);

/// The line as it is sent to the output, without a line end. Ends in the output's normal colour.
std::string painted(const Line& line, const Style& style);

} // namespace kelo
