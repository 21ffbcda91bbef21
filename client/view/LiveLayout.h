#pragma once

#include <string>
#include <vector>

#include "client/view/FanRecord.h"
#include "client/view/Line.h"

namespace kelo {

struct ScreenSize {
    std::size_t columns = 80;
    std::size_t rows = 24;
};

/// What a live view shows besides the record.
struct LiveFrame {
    std::string command; ///< The command and how far it is, for the title line.
    std::string waiting; ///< Set while a request waits for its reply: what to do about it.
    std::string keys;    ///< What the keys do, in the last row.
    Moment now;
};

/// The record as lines that fill a screen: at most as many as it has rows, none longer than it has columns. A small
/// screen shows the gauges only.
std::vector<Line> liveView(const FanRecord& record, const LiveFrame& frame, const ScreenSize& size, const Style& style);

} // namespace kelo
