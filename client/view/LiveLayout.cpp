#include "client/view/LiveLayout.h"

#include <algorithm>
#include <sstream>

#include "client/view/FanText.h"
#include "client/view/History.h"

namespace kelo {
namespace {

constexpr std::size_t rowsForFrame = 6;    // title and keys
constexpr std::size_t rowsForSpacing = 12; // a blank row below the title
constexpr std::size_t shortestBar = 8;     // columns

using Lines = std::vector<Line>;

Line titleLine(const FanRecord& record, const LiveFrame& frame, std::size_t columns, const Style& style) {
    std::string text = " " + frame.command;
    if (record.latest() && record.lacking().empty() && frame.waiting.empty())
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
    for (const auto& text : {record.lacking(), frame.waiting}) {
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);)
            lines.push_back({{line, Ink::warning}});
    }
    if (!lines.empty() && record.latest())
        lines.push_back({{"The last reading is of " + record.latestTime() + ".", Ink::warning}});
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

void append(Lines& lines, const Lines& more) { lines.insert(lines.end(), more.begin(), more.end()); }

/// Graphs take what the events leave, so that nothing stays empty.
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
