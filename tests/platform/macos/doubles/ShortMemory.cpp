#include "tests/platform/macos/doubles/ShortMemory.h"

#include <cstdlib>
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

} // namespace kelo::doubles

void* operator new(std::size_t size) {
    void* const memory = std::exchange(kelo::doubles::failsNext, false) ? nullptr : std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
