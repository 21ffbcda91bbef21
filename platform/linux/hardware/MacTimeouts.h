#pragma once

#include <chrono>

namespace kelo {

/// How long the main thread waits for a simulated Mac.
///
/// A Mac that hangs costs the whole `answer` once. Handing back ten fans takes eleven exchanges. If all of them fail,
/// it takes 10 s + 10 * 1 s = 20 s; 11 * 1 s = 11 s when the Mac does not even accept a connection; and 30 s in the
/// worst case, when each connection is accepted at the last moment and then not served.
struct MacTimeouts {
    std::chrono::milliseconds answer = std::chrono::seconds(10);
    /// For a connection, and for an answer from a Mac that hung and has not answered since.
    std::chrono::milliseconds retry = std::chrono::seconds(1);
    /// For how long a Mac is treated as hung. A Mac that is only slow would otherwise never be used again.
    std::chrono::milliseconds memory = std::chrono::seconds(30);
};

} // namespace kelo
