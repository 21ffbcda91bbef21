#pragma once

#include <chrono>

namespace kelo {

/// How long the main thread waits for a simulated Mac.
///
/// A Mac that hangs costs the whole `answer` once. Handing back ten fans, which is eleven exchanges of which none gets
/// through, thus takes 10 s + 10 * 1 s = 20 s; 11 * 1 s = 11 s when the Mac accepts no connection, either; and 30 s at
/// the worst, when each connection is had at the last moment and then not served.
struct MacTimeouts {
    std::chrono::milliseconds answer = std::chrono::seconds(10);
    /// For a connection; and for an answer from a Mac that hung and has not answered since.
    std::chrono::milliseconds retry = std::chrono::seconds(1);
    /// For how long a Mac is held to have hung. It may be slow, and would otherwise never be heard again.
    std::chrono::milliseconds memory = std::chrono::seconds(30);
};

} // namespace kelo
