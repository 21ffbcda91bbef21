#include "client/view/LiveLayout.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "client/view/FanText.h"

namespace kelo {
namespace {

constexpr std::size_t rowsForFrame = 6;    // minimum height for the title and the keys
constexpr std::size_t rowsForSpacing = 12; // minimum height for a blank row below the title
constexpr std::size_t shortestBar = 8;     // columns
constexpr std::size_t fewestHistoryRows = 7;
constexpr std::size_t fewestHistoryColumns = 24;

using Lines = std::vector<Line>;

void append(Lines& lines, const Lines& more) { lines.insert(lines.end(), more.begin(), more.end()); }

// --- graphs

using Reading = std::optional<double> FanRecord::Sample::*;

constexpr double shownSeconds = 300;
constexpr std::size_t labelSpacing = 10; // minimum number of columns between the time labels
constexpr std::size_t eighths = 8;       // per row; an eighth is the smallest step of a graph

/// One column of a graph. The heights are in eighths of a row; 0 means unknown.
struct Column {
    std::size_t height = 0;
    std::size_t target = 0;
    Ink ink = Ink::calm;
};

/// The ends and the unit of an axis.
struct Scale {
    double from;
    double to;
    std::string unit;

    std::size_t height(double value, std::size_t rows) const {
        const double part = std::clamp((value - from) / (to - from), 0.0, 1.0);
        return std::max<std::size_t>(1,
                                     static_cast<std::size_t>(std::lround(part * static_cast<double>(eighths * rows))));
    }
};

/// The scale for speeds: the range of the fastest fan, extended to include all samples, since a different fan may have
/// been the fastest earlier.
Scale speedScale(const FanRecord& record) {
    Scale scale{record.latest()->minRPM, record.latest()->maxRPM, " RPM"};
    for (const auto& sample : record.samples()) {
        scale.from = std::min(scale.from, sample.rpm.value_or(scale.from));
        scale.to = std::max(scale.to, sample.rpm.value_or(scale.to));
    }
    if (!(scale.from < scale.to))
        scale = {0, std::max(scale.to, 1.0), scale.unit};
    return scale;
}

/// The smallest number of seconds per column at which the graph shows the whole record, or the last `shownSeconds` of a
/// longer record. It is a whole number, so that samples do not move between columns as time passes.
double secondsPerColumn(const FanRecord& record, double now, std::size_t columns) {
    const auto age = std::clamp(now - record.samples().front().seconds + 1, 1.0, shownSeconds);
    return std::ceil(age / static_cast<double>(columns));
}

/// Computes the columns of a graph: the highest value and the newest target in the time of each column.
std::vector<Column> graphColumns(const FanRecord& record, Reading reading, bool hasWarmth, double now, double span,
                                 std::size_t count, std::size_t rows, const Scale& scale) {
    // Shifts the column boundaries away from the times of the evenly spaced readings, so that a reading that is
    // slightly early does not move to the previous column.
    const double shift = 0.05 - std::fmod(record.samples().front().seconds, 1);
    const auto last = std::floor((now + shift) / span);
    std::vector<Column> columns(count);
    for (const auto& sample : record.samples()) {
        const auto age = last - std::floor((sample.seconds + shift) / span);
        const auto& value = sample.*reading;
        if (!value || age < 0 || age >= static_cast<double>(count))
            continue;
        auto& column = columns[count - 1 - static_cast<std::size_t>(age)];
        column.height = std::max(column.height, scale.height(*value, rows));
        if (hasWarmth)
            column.ink = sample.warmth;
        else
            column.target = sample.target ? scale.height(*sample.target, rows) : 0;
    }
    return columns;
}

std::string cell(const Column& column, std::size_t below, const Style& style) {
    constexpr std::array<const char*, 9> blocks = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    constexpr std::array<const char*, 9> letters = {" ", ".", ":", "-", "=", "+", "*", "#", "@"};
    if (column.height > below)
        return (style.hasUnicode ? blocks : letters)[std::min(column.height - below, eighths)];
    const bool hasTarget = column.target > below && column.target <= below + eighths;
    return !hasTarget ? " " : style.hasUnicode ? "┄" : "~";
}

/// The axis label of a row: the maximum in the first row, the minimum in the last row and, if there is room, a value in
/// the middle row.
std::string axisLabel(const Scale& scale, std::size_t row, std::size_t rows) {
    if (row == 0)
        return decimal(scale.to, 0) + scale.unit;
    if (row + 1 == rows)
        return decimal(scale.from, 0) + scale.unit;
    if (rows >= 5 && row == rows / 2)
        return decimal(
            scale.to - (scale.to - scale.from) * (static_cast<double>(row) + 0.5) / static_cast<double>(rows), 0);
    return "";
}

Lines graph(const std::vector<Column>& columns, const Scale& scale, std::size_t rows, const Style& style) {
    Lines lines;
    for (std::size_t row = 0; row < rows; ++row) {
        const auto label = axisLabel(scale, row, rows);
        const auto* axis = !style.hasUnicode ? " |" : label.empty() ? " │" : " ┤";
        Line line = {{paddedLeft(label, labelColumns - 2) + axis, Ink::faint}};
        for (const auto& column : columns) {
            if (line.size() == 1 || line.back().ink != column.ink)
                line.push_back({"", column.ink});
            line.back().text += cell(column, eighths * (rows - 1 - row), style);
        }
        lines.push_back(line);
    }
    return lines;
}

/// The time axis below both graphs. Its labels count the minutes before now.
Line timeAxis(double span, std::size_t columns, const Style& style) {
    const auto perMinute = 60 / span;
    const auto step = perMinute >= labelSpacing ? 1 : 2 * perMinute >= labelSpacing ? 2 : 5;
    std::vector<std::string> cells(columns, style.hasUnicode ? "─" : "-");
    const auto write = [&](const std::string& text, std::size_t from) {
        for (std::size_t i = 0; i < text.size() && from + i < columns; ++i)
            cells[from + i] = text[i];
    };
    for (int minute = step;; minute += step) {
        const auto back = static_cast<std::size_t>(std::lround(minute * perMinute));
        if (back >= columns)
            break;
        write(std::to_string(minute) + " min", columns - 1 - back);
    }
    write("now", columns - 3);
    std::string text;
    for (const auto& piece : cells)
        text += piece;
    return {{paddedLeft(style.hasUnicode ? "└" : "+", labelColumns) + text, Ink::faint}};
}

/// Two graphs of the last few minutes in exactly `rows` rows: the speed above and the chip temperature below, each with
/// its own scale.
Lines history(const FanRecord& record, double now, std::size_t columns, std::size_t rows, const Style& style) {
    const auto width = columns - labelColumns;
    const auto span = secondsPerColumn(record, now, width);
    const auto chipRows = (rows - 3) / 2; // a blank row above each graph, and the shared axis
    const auto speedRows = rows - 3 - chipRows;
    const auto speeds = speedScale(record);
    const Scale degrees{coldest, hottest, style.hasUnicode ? " °C" : " C"};
    Lines lines = {{}};
    append(lines, graph(graphColumns(record, &FanRecord::Sample::rpm, false, now, span, width, speedRows, speeds),
                        speeds, speedRows, style));
    lines.emplace_back();
    append(lines, graph(graphColumns(record, &FanRecord::Sample::celsius, true, now, span, width, chipRows, degrees),
                        degrees, chipRows, style));
    lines.push_back(timeAxis(span, width, style));
    return lines;
}

// --- the screen

Line titleLine(const FanRecord& record, const LiveFrame& frame, std::size_t columns, const Style& style) {
    std::string text = " " + frame.command;
    if (record.latest() && record.failure().empty() && frame.waiting.empty())
        text += "   " + controlText(*record.latest());
    const auto clock = "  " + frame.now.timeOfDay + " ";
    const auto room = columns - std::min(columns, columnsOf(clock));
    std::string title;
    for (const auto& span : cut({{visible(text)}}, room, style))
        title += span.text;
    return {{padded(title, room) + clock, Ink::title}};
}

Lines notes(const FanRecord& record, const LiveFrame& frame) {
    Lines lines;
    for (const auto& text : {record.failure(), frame.waiting}) {
        for (const auto& line : linesOf(text))
            lines.push_back({{line, Ink::warning}});
    }
    if (!lines.empty() && record.latest())
        lines.push_back({{"The last reading is from " + record.latestTime() + ".", Ink::warning}});
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

/// Fills the remaining rows with events and, if there is room, with graphs.
void fill(Lines& lines, const FanRecord& record, const LiveFrame& frame, std::size_t rows, std::size_t columns,
          const Style& style) {
    auto room = rows - std::min(rows, lines.size());
    const bool hasHistory = record.latest() && room >= fewestHistoryRows && columns >= fewestHistoryColumns;
    auto events = std::min(record.events().size(), hasHistory ? room / 4 : room - std::min<std::size_t>(room, 1));
    if (hasHistory && room < fewestHistoryRows + events + 1)
        events = 0;
    if (hasHistory)
        append(lines, history(record, frame.now.seconds, columns, room - (events > 0 ? events + 1 : 0), style));
    if (events > 0) {
        lines.emplace_back();
        append(lines, newestEvents(record, events));
    }
}

} // namespace

std::vector<Line> liveView(const FanRecord& record, const LiveFrame& frame, const ScreenSize& size,
                           const Style& style) {
    const bool isFramed = size.rows >= rowsForFrame;
    const auto rows = size.rows - (isFramed ? 1 : 0);
    Lines lines;
    if (isFramed)
        lines.push_back(titleLine(record, frame, size.columns, style));
    append(lines, notes(record, frame));
    if (size.rows >= rowsForSpacing)
        lines.emplace_back();
    if (record.latest()) {
        const bool hasBars = size.columns >= gaugeColumns + shortestBar;
        append(lines, gauges(*record.latest(), hasBars ? size.columns - gaugeColumns : 0, style));
    }
    fill(lines, record, frame, rows, size.columns, style);
    lines.resize(rows);
    if (isFramed)
        lines.push_back({{frame.keys, Ink::faint}});
    for (auto& line : lines) {
        for (auto& span : line)
            span.text = visible(span.text);
        line = cut(line, size.columns, style);
    }
    return lines;
}

} // namespace kelo
