#include "testing/FailingMemory.h"

#include <cstddef>
#include <cstdlib>
#include <new>
#include <optional>
#include <utility>

#include "testing/CodeOf.h"

namespace {

bool isCounting = false;
int count = 0;
std::optional<kelo::MemoryFault> injected;
kelo::MemoryInUse inUse{};

/// Precedes each allocation and keeps it aligned for every type.
struct alignas(std::max_align_t) Header {
    std::size_t isOfDaemon; ///< 1 or 0.
    std::size_t size;
};

[[maybe_unused]] bool mustFail() { // unused if KELO_COUNTS_NOTHING is defined
    if (!isCounting || kelo::CodeOf::current == kelo::CodeOf::Owner::test)
        return false;
    const int number = count++;
    return injected && (number == injected->from || (injected->fromThenOn && number > injected->from));
}

} // namespace

kelo::MemoryInUse kelo::FailingMemory::inUse() { return ::inUse; }

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

// The thread sanitizer's `operator new` cannot be replaced, so with this sanitizer allocations are not counted and do
// not fail.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KELO_COUNTS_NOTHING
#endif
#endif

#ifndef KELO_COUNTS_NOTHING

void* operator new(std::size_t size) {
    auto* const header = mustFail() ? nullptr : static_cast<Header*>(std::malloc(sizeof(Header) + size));
    if (header == nullptr)
        throw std::bad_alloc();
    *header = {kelo::CodeOf::current == kelo::CodeOf::Owner::daemon ? 1U : 0U, size};
    inUse.allocations += header->isOfDaemon;
    inUse.bytes += header->isOfDaemon * size;
    return header + 1;
}

void operator delete(void* memory) noexcept {
    if (memory == nullptr)
        return;
    auto* const header = static_cast<Header*>(memory) - 1;
    inUse.allocations -= header->isOfDaemon;
    inUse.bytes -= header->isOfDaemon * header->size;
    std::free(header);
}

void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }

#endif
