#pragma once

#include <cstddef>
#include <deque>
#include <string>

namespace kelo {

/// Buffers lines for a descriptor that may have no reader. Drops lines that do not fit in the buffer, and replaces them
/// with one line that gives the number of dropped lines:
///
///     Lines left out here: 12
///
/// Used by one thread at a time.
class PendingLines {
public:
    /// `descriptor` is borrowed. It may refer to a different file at each flush.
    explicit PendingLines(int descriptor) : descriptor_(descriptor) {}

    void add(const std::string& line);

    /// Writes the lines, each in a single write, until the descriptor has no more room. Never waits. If a write fails
    /// for any other reason, drops the line, since the failure cannot be reported anywhere.
    void flush();

    /// Writes the lines like `flush`, but also reports the lines dropped last, and waits briefly for a slow reader.
    void finish();

private:
    static constexpr std::size_t capacity = 65536; // bytes

    void reportLeftOut();
    void push(std::string line);
    void removeFromFirst(std::size_t bytes);

    int descriptor_;
    std::deque<std::string> lines_; ///< The first line may be partly written.
    std::size_t bytes_ = 0;
    unsigned long leftOut_ = 0;
};

} // namespace kelo
