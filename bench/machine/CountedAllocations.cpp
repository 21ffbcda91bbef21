#include "bench/machine/CountedAllocations.h"

#include <cstdlib>
#include <new>

namespace {

std::size_t allocations = 0; // of the one thread that the program has

} // namespace

std::size_t kelo::bench::allocationsSoFar() { return allocations; }

void* operator new(std::size_t size) {
    ++allocations;
    if (void* const memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
