#pragma once

#include <functional>

namespace kelo::doubles {

// Of the double of Foundation, what C++ may call.

/// Runs `work` with an autorelease pool, as the system's threads do. Ours have none, nor does anything promise that the
/// main run loop or the main queue makes one.
void runInPool(const std::function<void()>& work);

/// Frees the objects that are gone. Until then they are kept so that their use is noticed.
void resetFoundation();

} // namespace kelo::doubles
