#pragma once

#include <functional>

namespace kelo {

/// Ends the process: logs `notice`, a sentence, or nothing for nullptr; hands the fan back; exits with status 0. Never
/// throws. Called on the main queue.
using Leave = std::function<void(const char* notice)>;

} // namespace kelo
