#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kelo {

/// The meaning of a piece of text. It determines the text colour.
enum class Ink { plain, faint, strong, title, calm, good, warning, alarm };

struct Span {
    std::string text; ///< UTF-8; each character takes one column.
    Ink ink = Ink::plain;
};

using Line = std::vector<Span>;

/// The capabilities of the output.
struct Style {
    bool hasColour = false;
    bool hasUnicode = false;
};

/// Replaces control characters with visible text such as ^[, so that text from other programs cannot control the
/// terminal.
std::string visible(const std::string& text);

/// Splits text into lines without their line ends.
std::vector<std::string> linesOf(const std::string& text);

std::size_t columnsOf(const std::string& text);
std::size_t columnsOf(const Line& line);

/// Pad the text with blanks to at least `columns` columns. `padded` adds the blanks at the end, `paddedLeft` at the
/// beginning.
std::string padded(std::string text, std::size_t columns);
std::string paddedLeft(const std::string& text, std::size_t columns);

/// Truncates a line that is longer than `columns`, and marks the place where it was cut.
Line cut(const Line& line, std::size_t columns, const Style& style);

/// Returns the text of a line with control sequences for its colours, but without a line end. Resets the colour at the
/// end.
std::string painted(const Line& line, const Style& style);

} // namespace kelo
