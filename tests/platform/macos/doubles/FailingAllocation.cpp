#include "tests/platform/macos/doubles/FailingAllocation.h"

#include <cstddef>
#include <new>
#include <utility>

#include "tests/platform/macos/doubles/Journal.h"

namespace kelo::doubles {

namespace {

thread_local bool failsNext = false;

} // namespace

void callWithMemory(bool isShort, const std::function<void()>& work) {
    failsNext = isShort;
    try {
        work();
    } catch (const std::bad_alloc&) {
        journal().misuse("an exception reached the platform");
    }
    failsNext = false;
}

void withEnoughMemory(const std::function<void()>& work) {
    const bool fails = std::exchange(failsNext, false);
    work();
    failsNext = fails;
}

} // namespace kelo::doubles

// The linker redirects calls of `operator new` to this function. Replacing the operator itself would conflict with a
// sanitizer's replacement.
extern "C" {

void* __real__Znwm(std::size_t size);

void* __wrap__Znwm(std::size_t size) {
    if (std::exchange(kelo::doubles::failsNext, false))
        throw std::bad_alloc();
    return __real__Znwm(size);
}

} // extern "C"
