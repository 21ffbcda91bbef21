#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The socket of the system's log daemon.
///
/// Never waits, as syslog(3) does when the daemon does not read: whoever logs may be about to hand the fan back. What
/// the daemon does not take at once is left out, and before the next entry that it takes it is told how many were. A
/// daemon that is started anew is found again. Any thread.
class SyslogSocket {
public:
    /// Connected at the first entry. `path` is a datagram socket; nothing is kept of what is written to any other.
    explicit SyslogSocket(std::string path) : path_(std::move(path)) {}

    /// The one of this process. It is never destroyed: threads may still log while the process ends.
    static SyslogSocket& ofTheSystem();

    /// Adds "[`category`] `message`" under the process's name `ident`. `priority` is one of <syslog.h>.
    void write(int priority, const char* ident, const char* category, std::string_view message) noexcept;

private:
    bool send(int priority, const char* ident, const char* category, std::string_view message) noexcept;
    bool sendLeftOut(const char* ident) noexcept;
    void connect() noexcept;

    const std::string path_;
    std::mutex mutex_; ///< Guards what follows.
    FileDescriptor socket_;
    unsigned long leftOut_ = 0;
};

} // namespace kelo
