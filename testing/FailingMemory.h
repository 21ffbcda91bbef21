#pragma once

#include <compare>
#include <cstddef>

namespace kelo {

/// Which allocation of the daemon fails, counted from 0, and whether all after it fail as well.
struct MemoryFault {
    int from;
    bool fromThenOn;
};

/// What the daemon's own code has allocated and not freed.
struct MemoryInUse {
    std::size_t allocations;
    std::size_t bytes;

    auto operator<=>(const MemoryInUse&) const = default;
};

/// The operators new of a program that links this: they count, and fail on request, in the daemon's own code only
/// (`CodeOf`).
struct FailingMemory {
    FailingMemory() = delete;

    static MemoryInUse inUse();

    /// Counts from 0 again, and fails none.
    static void beginCounting();
    static void inject(const MemoryFault& fault);
    /// Allocations counted; none is counted or fails afterwards.
    static int endCounting();
};

} // namespace kelo
