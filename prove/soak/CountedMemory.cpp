#include "prove/soak/CountedMemory.h"

#include <cstdlib>
#include <new>

// The thread sanitizer's own operators cannot be replaced: nothing is counted there.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KELO_COUNTS_NOTHING
#endif
#endif

#ifdef KELO_COUNTS_NOTHING

kelo::MemoryInUse kelo::memoryInUse() { return {}; }

#else

namespace {

/// In front of each allocation; as large as keeps what follows aligned for everything.
constexpr std::size_t headerSize = alignof(std::max_align_t);
static_assert(headerSize >= sizeof(std::size_t));

kelo::MemoryInUse inUse{}; // of the one thread that the program has

} // namespace

kelo::MemoryInUse kelo::memoryInUse() { return inUse; }

void* operator new(std::size_t size) {
    auto* const header = static_cast<std::size_t*>(std::malloc(headerSize + size));
    if (header == nullptr)
        throw std::bad_alloc();
    *header = size;
    ++inUse.allocations;
    inUse.bytes += size;
    return reinterpret_cast<char*>(header) + headerSize;
}

void operator delete(void* memory) noexcept {
    if (memory == nullptr)
        return;
    auto* const header = reinterpret_cast<std::size_t*>(static_cast<char*>(memory) - headerSize);
    --inUse.allocations;
    inUse.bytes -= *header;
    std::free(header);
}

void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }

#endif
