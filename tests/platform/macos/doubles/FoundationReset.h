#pragma once

namespace kelo::doubles {

// Of the double of Foundation, what C++ may call.

void drainAutoreleasePool();

/// Frees the objects that are gone, which are kept so that their use shows.
void resetFoundation();

} // namespace kelo::doubles
