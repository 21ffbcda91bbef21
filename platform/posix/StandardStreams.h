#pragma once

#include <string>

namespace kelo {

/// Standard input, output and error of a process whose output may have no reader.
///
/// Call `prepare` once on the main thread, before anything else.
struct StandardStreams {
    StandardStreams() = delete;

    /// Opens /dev/null in place of each of the three descriptors that is closed, so that no file or socket opened later
    /// becomes descriptor 2 and receives the log. Ignores the signals that would end or stop the process because a pipe
    /// has no reader, a file has reached its size limit or a terminal controls the process.
    static void prepare();

    /// Writes the line `bytes` to standard error in one write and never waits: messages are logged before the action,
    /// so a reader that stops reading would delay the hand-back. Keeps lines that do not fit, up to a limit, for the
    /// next call or the end of the process; see `PendingLines`. Any thread.
    static void writeError(const std::string& bytes);

    /// Writes pending lines while there is room and waits briefly for a slow reader. Runs automatically at exit; call
    /// it before an exit that skips exit handlers. Any thread.
    static void finish();
};

} // namespace kelo
