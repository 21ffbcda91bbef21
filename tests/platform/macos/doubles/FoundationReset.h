#pragma once

#include <functional>

namespace kelo::doubles {

// The functions of the Foundation double that C++ may call.

/// Runs `work` with an autorelease pool, as on the system's threads. Our own threads have none, and there is no
/// guarantee that the main run loop or the main queue creates one.
void runInPool(const std::function<void()>& work);

/// Frees destroyed objects, which are kept until then to detect their use.
void resetFoundation();

} // namespace kelo::doubles
