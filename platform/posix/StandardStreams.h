#pragma once

#include <string>

namespace kelo {

/// The standard input, output and error of a process whose output may have no reader.
///
/// Call `prepare` once on the main thread, before anything else.
struct StandardStreams {
    StandardStreams() = delete;

    /// Opens /dev/null for each of the three descriptors that is closed, so that no file or socket opened later becomes
    /// descriptor 2 and receives the log. Ignores the signals by which a pipe without a reader, a file at its size
    /// limit, or job control would end or stop the process.
    static void prepare();

    /// Writes the line `bytes` to standard error in one write. Never waits: actions are logged before they are
    /// performed, so a reader that stops reading would delay the hand-back. If the line does not fit, keeps it for the
    /// next call or the end of the process, up to a limit; see `PendingLines`. Any thread.
    static void writeError(const std::string& bytes);

    /// Writes the pending lines, and waits briefly for a slow reader. Runs automatically at exit. Call it before an
    /// exit that skips the exit handlers. Any thread.
    static void finish();
};

} // namespace kelo
