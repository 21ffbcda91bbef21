#pragma once

#include <sys/types.h>

#include <cstdint>

namespace kelo::bench {

/// What the kernel says of a process that runs. All threads count.
struct ProcessFacts {
    double processorTime = 0;   ///< Microseconds so far.
    std::uint64_t waits = 0;    ///< How often it has waited for something so far.
    double resident = 0;        ///< KiB.
    double privateMemory = 0;   ///< KiB that nobody else has.
    double privateToItself = 0; ///< KiB of these that are not a library's, unchanged: others may come to share it.
    double anonymous = 0;       ///< KiB that are of no file.

    static ProcessFacts of(pid_t process);
};

} // namespace kelo::bench
