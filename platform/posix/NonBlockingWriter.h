#pragma once

#include <sys/types.h>

#include <string_view>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// Writes to a descriptor without ever waiting for the reader, and without setting O_NONBLOCK on a file description
/// that other processes share.
///
/// On a socket every write carries MSG_DONTWAIT; a pipe or terminal is opened once more, with a flag of its own; a file
/// never blocks. Where a pipe or terminal cannot be opened once more (no descriptor is left, or the system only
/// duplicates, as macOS does with pipes), no more is written than a pipe that counts as writable has room for.
class NonBlockingWriter {
public:
    /// `descriptor` is borrowed.
    explicit NonBlockingWriter(int descriptor);

    /// As write(2) to a descriptor that does not block: the number of bytes taken, or -1 and `errno`.
    ssize_t write(std::string_view bytes) const;

private:
    enum class Way { asIs, perCall, ownDescription, whatHasRoom };

    ssize_t writeWhatHasRoom(std::string_view bytes) const;

    int shared_;
    Way way_ = Way::asIs;
    FileDescriptor own_;
};

} // namespace kelo
