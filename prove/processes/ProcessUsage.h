#pragma once

#include <sys/types.h>

#include <string>

namespace kelo {

/// System resources of a process. Reads /proc; throws `std::runtime_error` if the process has exited.
struct ProcessUsage {
    long residentKiB;
    long anonymousKiB; ///< Excludes file pages: other processes decide whether these count as private.
    long descriptors;
    long threads;

    static ProcessUsage of(pid_t process);

    /// The number of its descriptors that refer to `target`, such as "anon_inode:inotify".
    static long openFiles(pid_t process, const std::string& target);
};

} // namespace kelo
