#pragma once

namespace kelo {

/// Which allocation of the daemon fails, counted from 0, and whether all after it fail as well.
struct MemoryFault {
    int from;
    bool fromThenOn;
};

/// The operators new of a program that links this: they fail on request, in the daemon's own code only (`CodeOf`).
struct FailingMemory {
    FailingMemory() = delete;

    /// Counts from 0 again, and fails none.
    static void beginCounting();
    static void inject(const MemoryFault& fault);
    /// Allocations counted; none is counted or fails afterwards.
    static int endCounting();
};

} // namespace kelo
