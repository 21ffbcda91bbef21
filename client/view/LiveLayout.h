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

/// The content of a live view in addition to the record.
struct LiveFrame {
    std::string command; ///< The command and its progress, for the title line.
    std::string waiting; ///< Advice while a request waits for its reply; otherwise empty.
    std::string keys;    ///< An explanation of the keys for the last row.
    Moment now;
};

/// Lays out the record as lines that fit the screen. A small screen shows only the gauges.
std::vector<Line> liveView(const FanRecord& record, const LiveFrame& frame, const ScreenSize& size, const Style& style);

} // namespace kelo
