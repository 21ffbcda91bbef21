#pragma once

#include <functional>

namespace kelo::doubles {

/// Calls `work` as the platform does, and fails its first allocation by `new` if `isShort`. Reports an
/// exception as a misuse: it would end the process. In a C++ file, since GNU's Objective-C++ catches no C++ exceptions.
void callWithMemory(bool isShort, const std::function<void()>& work);

/// Runs `work`, which never fails on the platform, without failing an allocation.
void withEnoughMemory(const std::function<void()>& work);

} // namespace kelo::doubles
