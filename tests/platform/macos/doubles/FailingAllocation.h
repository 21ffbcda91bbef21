#pragma once

#include <functional>

namespace kelo::doubles {

/// Runs `work` as a callback of the platform. If `isShort`, the first allocation with `new` fails. Reports an exception
/// as a misuse, because on the platform it would end the process. Defined in a C++ file, since GNU Objective-C++ cannot
/// catch C++ exceptions.
void callWithMemory(bool isShort, const std::function<void()>& work);

/// Runs `work` without failing an allocation. Used for work of the test doubles that cannot fail on the platform.
void withEnoughMemory(const std::function<void()>& work);

} // namespace kelo::doubles
