#pragma once

#include <chrono>

namespace kelo {

/// The timeouts of the main thread when it waits for a simulated Mac.
///
/// Handing back ten fans takes eleven exchanges. If the Mac hangs, the first exchange waits for `answer` and each of
/// the others for `retry`: 10 s + 10 * 1 s = 20 s in total. If the Mac does not even accept connections, the exchanges
/// take 11 * 1 s = 11 s. The worst case is 30 s: the Mac accepts each connection at the last moment and then does not
/// answer.
struct MacTimeouts {
    std::chrono::milliseconds answer = std::chrono::seconds(10);
    /// The limit for connecting, and for an answer while the Mac is treated as hung.
    std::chrono::milliseconds retry = std::chrono::seconds(1);
    /// The time for which a Mac is treated as hung. Without this limit, a Mac that is only slow would never be used
    /// again.
    std::chrono::milliseconds memory = std::chrono::seconds(30);
};

} // namespace kelo
