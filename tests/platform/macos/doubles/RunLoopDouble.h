#pragma once

#include <CoreFoundation/CoreFoundation.h>

namespace kelo::doubles {

/// Whether the main run loop has `source` in its default mode.
bool isScheduled(CFRunLoopSourceRef source);

void resetRunLoop();

} // namespace kelo::doubles
