#include "client/view/LiveLayout.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "client/view/FanText.h"

namespace kelo {
namespace {

constexpr std::size_t rowsForFooter = 4;
constexpr std::size_t shortestBar = 8;
constexpr double shownSeconds = 300; // at least

using Lines = std::vector<Line>;
using Reading = std::optional<double> FanRecord::Sample::*;

std::size_t barColumns(std::size_t columns) {
    return columns < gaugeColumns + shortestBar ? 0 : columns - gaugeColumns;
}

/// Whole seconds that a column of the history stands for, so that a moment stays in its column while time passes.
double secondsPerColumn(std::size_t columns) {
    return std::max(1.0, std::ceil(shownSeconds / static_cast<double>(columns)));
}

/// An eighth of a row's height is the smallest step.
const char* block(std::size_t eighths, const Style& style) {
    constexpr std::array<const char*, 9> blocks = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    constexpr std::array<const char*, 9> letters = {" ", ".", ":", "-", "=", "+", "*", "#", "@"};
    return (style.hasUnicode ? blocks : letters)[std::min<std::size_t>(eighths, 8)];
}

/// The highest value of each column, in eighths of a row: 0 where nothing is known.
std::vector<std::size_t> heights(const FanRecord& record, Reading reading, double now, std::size_t columns,
                                 std::size_t rows) {
    const auto span = secondsPerColumn(columns);
    const auto last = std::floor(now / span);
    std::vector<std::size_t> heights(columns, 0);
    for (const auto& sample : record.samples()) {
        const auto age = last - std::floor(sample.seconds / span);
        const auto& value = sample.*reading;
        if (!value || age < 0 || age >= static_cast<double>(columns))
            continue;
        const auto height = static_cast<std::size_t>(std::lround(*value * static_cast<double>(8 * rows)));
        auto& highest = heights[columns - 1 - static_cast<std::size_t>(age)];
        highest = std::max({highest, height, std::size_t{1}});
    }
    return heights;
}

Lines graph(const std::string& name, const std::vector<std::size_t>& heights, std::size_t rows, Ink ink,
            const Style& style) {
    Lines lines;
    for (std::size_t row = 0; row < rows; ++row) {
        const auto below = 8 * (rows - 1 - row);
        std::string text;
        for (const auto height : heights)
            text += block(height > below ? height - below : 0, style);
        lines.push_back({{padded(row == 0 ? name : "", labelColumns), Ink::faint}, {text, ink}});
    }
    return lines;
}

void append(Lines& lines, const Lines& more) { lines.insert(lines.end(), more.begin(), more.end()); }

Lines history(const FanRecord& record, double now, std::size_t columns, std::size_t rowsEach, const Style& style) {
    const auto minutes = secondsPerColumn(columns) * static_cast<double>(columns) / 60;
    Lines lines = {{}, {{"The last " + decimal(minutes, 0) + " minutes", Ink::faint}}};
    append(lines, graph("speed", heights(record, &FanRecord::Sample::speed, now, columns, rowsEach), rowsEach,
                        Ink::calm, style));
    append(lines, graph("chip", heights(record, &FanRecord::Sample::chip, now, columns, rowsEach), rowsEach,
                        record.latest() ? inkOf(record.latest()->warmth) : Ink::plain, style));
    return lines;
}

Lines newestEvents(const FanRecord& record, std::size_t rows) {
    Lines lines;
    for (const auto& event : record.events()) {
        if (lines.size() == rows)
            break;
        lines.push_back({{event.timeOfDay + "  ", Ink::faint}, {event.text}});
    }
    return lines;
}

Lines body(const FanRecord& record, double now, const ScreenSize& size, const Style& style) {
    Lines lines;
    if (!record.lacking().empty())
        lines.push_back({{record.lacking(), Ink::warning}});
    if (record.latest())
        append(lines, gauges(*record.latest(), barColumns(size.columns), style));
    const auto left = size.rows - std::min(lines.size(), size.rows);
    if (left >= 4 && size.columns > labelColumns + shortestBar) {
        const auto rowsEach = std::clamp<std::size_t>(left / 6, 1, 6); // the rest is for events
        append(lines, history(record, now, size.columns - labelColumns, rowsEach, style));
    }
    if (lines.size() + 2 <= size.rows && !record.events().empty()) {
        lines.push_back({});
        append(lines, newestEvents(record, size.rows - lines.size()));
    }
    lines.resize(std::min(lines.size(), size.rows));
    return lines;
}

} // namespace

std::vector<Line> liveView(const FanRecord& record, double now, const ScreenSize& size, const Style& style,
                           const std::string& footer) {
    const bool hasFooter = size.rows >= rowsForFooter;
    auto lines = body(record, now, {size.columns, size.rows - (hasFooter ? 1 : 0)}, style);
    if (hasFooter) {
        lines.resize(size.rows - 1);
        lines.push_back({{footer, Ink::faint}});
    }
    for (auto& line : lines)
        line = cut(line, size.columns);
    return lines;
}

} // namespace kelo
