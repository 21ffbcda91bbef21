#include "client/view/Line.h"

#include <sstream>

namespace kelo {
namespace {

/// The escape sequences for the colours, in the order of `Ink`.
constexpr const char* colours[] = {"", "\033[2m", "\033[1m", "\033[7m", "\033[36m", "\033[32m", "\033[33m", "\033[31m"};

bool beginsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }

std::string firstColumns(const std::string& text, std::size_t columns) {
    std::size_t end = 0;
    for (; end < text.size(); ++end)
        if (beginsCharacter(text[end]) && columns-- == 0)
            break;
    return text.substr(0, end);
}

} // namespace

std::string visible(const std::string& text) {
    std::string safe;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        if (byte == '\n' || byte == '\r' || byte == '\t')
            safe += ' ';
        else if (byte < ' ' || byte == 0x7f)
            safe.append({'^', static_cast<char>(byte ^ 0x40U)});
        else if (byte == 0xC2 && next >= 0x80 && next < 0xA0)
            continue; // drops this byte; the next byte is replaced below
        else if (byte >= 0x80 && byte < 0xA0 && i > 0 && text[i - 1] == '\xC2')
            safe += '?'; // U+0080 to U+009F are control characters on some terminals
        else
            safe += text[i];
    }
    return safe;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

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

std::string paddedLeft(const std::string& text, std::size_t columns) {
    const auto taken = columnsOf(text);
    return std::string(taken < columns ? columns - taken : 0, ' ') + text;
}

Line cut(const Line& line, std::size_t columns, const Style& style) {
    if (columnsOf(line) <= columns)
        return line;
    Line shorter;
    auto left = columns == 0 ? 0 : columns - 1;
    for (const auto& span : line) {
        shorter.push_back({firstColumns(span.text, left), span.ink});
        left -= columnsOf(shorter.back().text);
    }
    if (columns > 0)
        shorter.push_back({style.hasUnicode ? "…" : ">", Ink::faint});
    return shorter;
}

std::string painted(const Line& line, const Style& style) {
    std::string text;
    for (const auto& [words, ink] : line) {
        const std::string begin = style.hasColour && !words.empty() ? colours[static_cast<std::size_t>(ink)] : "";
        text += begin + visible(words) + (begin.empty() ? "" : "\033[0m");
    }
    return text;
}

} // namespace kelo
