#pragma once

#include <chrono>

namespace kelo {

/// How long the main thread waits for a simulated Mac.
///
/// Handing back ten fans takes eleven exchanges. If the Mac hangs, the first one waits for `answer` and each other one
/// for `retry`: 10 s + 10 * 1 s = 20 s in total. If it does not even accept a connection, they take 11 * 1 s = 11 s.
/// The worst case is 30 s: the Mac accepts each connection at the last moment and then does not answer.
struct MacTimeouts {
    std::chrono::milliseconds answer = std::chrono::seconds(10);
    /// The limit for connecting, and for an answer while the Mac is treated as hung.
    std::chrono::milliseconds retry = std::chrono::seconds(1);
    /// How long a Mac is treated as hung. Without this limit, a Mac that is only slow would never be used again.
    std::chrono::milliseconds memory = std::chrono::seconds(30);
};

} // namespace kelo
