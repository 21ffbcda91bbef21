#pragma once

#include <functional>

namespace kelo::doubles {

// The functions of the Foundation double that C++ may call.

/// Runs `work` in an autorelease pool, as the system's threads do. Our own threads have no pool, and the main run loop
/// and the main queue are not guaranteed to create one.
void runInPool(const std::function<void()>& work);

/// Frees destroyed objects, which were kept to detect any further use.
void resetFoundation();

} // namespace kelo::doubles
