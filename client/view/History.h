#pragma once

#include <vector>

#include "client/view/FanRecord.h"
#include "client/view/Line.h"

namespace kelo {

/// The least that `history` needs.
constexpr std::size_t fewestHistoryRows = 7;
constexpr std::size_t fewestHistoryColumns = 24;

/// Graphs of the last minutes, speed over chip temperature, each with its scale, in exactly `rows` rows.
std::vector<Line> history(const FanRecord& record, double now, std::size_t columns, std::size_t rows,
                          const Style& style);

} // namespace kelo
