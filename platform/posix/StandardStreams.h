#pragma once

#include <string>

namespace kelo {

/// Standard input, output and error of a process that nobody may be reading.
///
/// `prepare` once, at the very start and on the main thread.
struct StandardStreams {
    StandardStreams() = delete;

    /// Opens each of the three descriptors that is closed on /dev/null, so that no file or socket opened later gets
    /// number 2 and receives the log, and ignores SIGPIPE, so that a reader of standard error that goes away does not
    /// end the process.
    static void prepare();

    /// Hands `bytes` to standard error in one write, and drops them when it has no room for 0.2 seconds. A failure is
    /// dropped, too: there is no place left to report it to. Any thread.
    static void writeError(const std::string& bytes);
};

} // namespace kelo
