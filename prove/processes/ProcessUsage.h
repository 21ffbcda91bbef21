#pragma once

#include <sys/types.h>

#include <string>

namespace kelo {

/// What a process uses of the system. Reads /proc; throws `std::runtime_error` when the process has gone.
struct ProcessUsage {
    long residentKiB;
    long anonymousKiB; ///< Its own alone: whether a page of a file counts as private depends on other processes.
    long descriptors;
    long threads;

    static ProcessUsage of(pid_t process);

    /// How many of its descriptors lead to `target`, such as "anon_inode:inotify".
    static long openFiles(pid_t process, const std::string& target);
};

} // namespace kelo
