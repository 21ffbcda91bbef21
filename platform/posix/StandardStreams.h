#pragma once

#include <string>

namespace kelo {

/// Standard input, output and error of a process whose output may have no reader.
///
/// `prepare` once, at the very start and on the main thread.
struct StandardStreams {
    StandardStreams() = delete;

    /// Opens each of the three descriptors that is closed on /dev/null, so that no file or socket opened later gets
    /// number 2 and receives the log. Ignores the signals that would end or stop the process because of where its
    /// standard error leads: to a reader that has gone, to a file that may not grow, or to a terminal.
    static void prepare();

    /// Hands `bytes`, a line, to standard error in one write and never waits: messages are logged before the action,
    /// and a reader that stops reading would delay the hand-back. What there is no room for is kept for the next time,
    /// up to a limit, and for the end of the process; see `PendingLines`. Any thread.
    static void writeError(const std::string& bytes);

    /// Writes what is pending as far as there is room for it, and gives a slow reader a moment. Happens by itself at
    /// the process's exit; to be called before an end that leaves out what is registered for that. Any thread.
    static void finish();
};

} // namespace kelo
