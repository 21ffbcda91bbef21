#pragma once

#include <functional>

namespace kelo {

/// Ends the process: logs `notice` (a sentence; nullptr for no notice), hands the fan back and exits with status 0.
/// Never throws. Called on the main queue.
using Leave = std::function<void(const char* notice)>;

} // namespace kelo
