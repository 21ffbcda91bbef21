#pragma once

#include <string>
#include <vector>

namespace kelo {

/// The faults reported with `reportFault` since the last call, as "what: why".
std::vector<std::string> takeFaults();

} // namespace kelo
