#pragma once

#include <functional>

namespace kelo::doubles {

/// Calls `work` as the platform does; if `isShort`, fails its first allocation by `new`. Reports an exception as a
/// misuse, since it would end the process. Defined in a C++ file because GNU Objective-C++ cannot catch C++ exceptions.
void callWithMemory(bool isShort, const std::function<void()>& work);

/// Runs `work`, which cannot fail on the platform, without failing an allocation.
void withEnoughMemory(const std::function<void()>& work);

} // namespace kelo::doubles
