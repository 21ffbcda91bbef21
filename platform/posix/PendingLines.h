#pragma once

#include <cstddef>
#include <deque>
#include <string>

namespace kelo {

/// Lines for a descriptor that may have no reader. They are kept until there is room for them; those that do not fit in
/// here are left out, and a line in their place says how many:
///
///     Lines left out here: 12
///
/// One thread at a time.
class PendingLines {
public:
    /// `descriptor` is borrowed. What it is may change from one flush to the next.
    explicit PendingLines(int descriptor) : descriptor_(descriptor) {}

    void add(const std::string& line);

    /// Writes what there is room for, each line in one write, and never waits. What cannot be written for any other
    /// reason is dropped: there is nowhere left to report it.
    void flush();

    /// Also reports what was left out last, and gives a slow reader a moment.
    void finish();

private:
    static constexpr std::size_t capacity = 65536; // bytes

    void tellLeftOut();
    void push(std::string line);
    void take(std::size_t bytes);

    int descriptor_;
    std::deque<std::string> lines_; ///< The first of them may have been written in part.
    std::size_t bytes_ = 0;
    unsigned long leftOut_ = 0;
};

} // namespace kelo
