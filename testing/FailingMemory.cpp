#include "testing/FailingMemory.h"

#include <cstdlib>
#include <new>
#include <optional>
#include <utility>

#include "testing/CodeOf.h"

namespace {

bool isCounting = false;
int count = 0;
std::optional<kelo::MemoryFault> injected;

[[maybe_unused]] bool mustFail() { // not with the thread sanitizer, see below
    if (!isCounting || kelo::CodeOf::current == kelo::CodeOf::Owner::test)
        return false;
    const int number = count++;
    return injected && (number == injected->from || (injected->fromThenOn && number > injected->from));
}

} // namespace

void kelo::FailingMemory::beginCounting() {
    count = 0;
    injected.reset();
    isCounting = true;
}

void kelo::FailingMemory::inject(const MemoryFault& fault) { injected = fault; }

int kelo::FailingMemory::endCounting() {
    isCounting = false;
    return std::exchange(count, 0);
}

// The thread sanitizer's own operators cannot be replaced: nothing is counted there, and nothing fails.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KELO_COUNTS_NOTHING
#endif
#endif

#ifndef KELO_COUNTS_NOTHING

void* operator new(std::size_t size) {
    if (!mustFail())
        if (void* const memory = std::malloc(size == 0 ? 1 : size))
            return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

#endif
