#pragma once

#include <string>
#include <vector>

namespace kelo {

/// What was reported with `reportFault` since the last call, as "what: why".
std::vector<std::string> takeFaults();

} // namespace kelo
