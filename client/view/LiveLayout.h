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

/// The record as lines for a screen: at most as many as it has rows, none longer than it has columns. What matters most
/// comes first, since a small screen shows only the beginning; `footer` is the last row of a screen that has room.
std::vector<Line> liveView(const FanRecord& record, double now, const ScreenSize& size, const Style& style,
                           const std::string& footer);

} // namespace kelo
