#pragma once

#include <sys/types.h>

namespace kelo {

/// What a process uses of the system. Reads /proc; throws `std::runtime_error` when the process has gone.
struct ProcessUsage {
    long residentKiB;
    long privateKiB;
    long descriptors;
    long threads;

    static ProcessUsage of(pid_t process);
};

} // namespace kelo
