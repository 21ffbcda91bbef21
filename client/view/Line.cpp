#include "client/view/Line.h"

namespace kelo {
namespace {

const char* colour(Ink ink) {
    switch (ink) {
    case Ink::faint:
        return "\033[2m";
    case Ink::strong:
        return "\033[1m";
    case Ink::calm:
        return "\033[36m";
    case Ink::good:
        return "\033[32m";
    case Ink::warning:
        return "\033[33m";
    case Ink::alarm:
        return "\033[31m";
    case Ink::plain:
        break;
    }
    return "";
}

/// No text from elsewhere may steer the terminal.
std::string harmless(std::string text) {
    for (char& byte : text)
        if (static_cast<unsigned char>(byte) < ' ' || byte == '\x7f')
            byte = '?';
    return text;
}

bool beginsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }

std::string firstColumns(const std::string& text, std::size_t columns) {
    std::size_t end = 0;
    for (; end < text.size(); ++end)
        if (beginsCharacter(text[end]) && columns-- == 0)
            break;
    return text.substr(0, end);
}

} // namespace

std::size_t columnsOf(const std::string& text) {
    std::size_t columns = 0;
    for (const char byte : text)
        if (beginsCharacter(byte))
            ++columns;
    return columns;
}

std::size_t columnsOf(const Line& line) {
    std::size_t columns = 0;
    for (const auto& span : line)
        columns += columnsOf(span.text);
    return columns;
}

std::string padded(std::string text, std::size_t columns) {
    const auto taken = columnsOf(text);
    if (taken < columns)
        text.append(columns - taken, ' ');
    return text;
}

Line cut(const Line& line, std::size_t columns) {
    Line shorter;
    for (const auto& span : line) {
        shorter.push_back({firstColumns(span.text, columns), span.ink});
        columns -= columnsOf(shorter.back().text);
    }
    return shorter;
}

std::string painted(const Line& line, const Style& style) {
    std::string text;
    for (const auto& [words, ink] : line) {
        const std::string begin = style.hasColour && !words.empty() ? colour(ink) : "";
        text += begin + harmless(words) + (begin.empty() ? "" : "\033[0m");
    }
    return text;
}

} // namespace kelo
