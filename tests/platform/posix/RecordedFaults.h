#pragma once

#include <string>
#include <vector>

namespace kelo {

/// Returns the faults reported with `reportFault` since the last call of this function, as "what: why".
std::vector<std::string> takeFaults();

} // namespace kelo
