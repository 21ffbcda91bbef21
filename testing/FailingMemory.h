#pragma once

#include <compare>
#include <cstddef>

namespace kelo {

/// The zero-based index of the daemon's first allocation that fails, and whether all later allocations fail as well.
struct MemoryFault {
    int from;
    bool fromThenOn;
};

/// Memory that the daemon's code has allocated and not freed.
struct MemoryInUse {
    std::size_t allocations;
    std::size_t bytes;

    auto operator<=>(const MemoryInUse&) const = default;
};

/// Controls the `operator new` of a program that links this: it counts allocations of the daemon's code (`CodeOf`) and
/// makes them fail on request.
struct FailingMemory {
    FailingMemory() = delete;

    static MemoryInUse inUse();

    /// Restarts the count at 0 and removes the injected fault.
    static void beginCounting();
    static void inject(const MemoryFault& fault);
    /// Returns the count. Afterwards, allocations are not counted and do not fail.
    static int endCounting();
};

} // namespace kelo
