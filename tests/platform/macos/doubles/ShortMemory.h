#pragma once

#include <functional>

namespace kelo::doubles {

/// Calls `work` as the platform does, and fails its first allocation by `new` if `isShort`. What it throws then is a
/// misuse: it would end the process. In a C++ file, since GNU's Objective-C++ catches no C++ exceptions.
void callWithMemory(bool isShort, const std::function<void()>& work);

/// Runs `work` with memory for all of it, within a call without: what never fails on the platform.
void withEnoughMemory(const std::function<void()>& work);

} // namespace kelo::doubles
