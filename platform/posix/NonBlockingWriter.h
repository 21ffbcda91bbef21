#pragma once

#include <sys/types.h>

#include <string_view>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// Writes to a descriptor without waiting for the reader, and without setting O_NONBLOCK on an open file description
/// that other processes share.
///
/// Writes to a socket with MSG_DONTWAIT. Reopens a pipe or terminal with separate flags. Writes to a regular file
/// directly, since such a write never blocks. If a pipe or terminal cannot be reopened (no descriptor is left, or the
/// system only duplicates the descriptor, as macOS does for pipes), polls before each write and writes no more than
/// fits into any writable pipe.
class NonBlockingWriter {
public:
    /// `descriptor` is borrowed.
    explicit NonBlockingWriter(int descriptor);

    /// Works like write(2) on a non-blocking descriptor. Returns the number of bytes written; on failure, sets `errno`
    /// and returns -1.
    ssize_t write(std::string_view bytes) const;

private:
    enum class Method { direct, messageFlag, reopened, poll };

    ssize_t writeAfterPoll(std::string_view bytes) const;

    int shared_;
    Method method_ = Method::direct;
    FileDescriptor own_;
};

} // namespace kelo
