#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// The socket of the system's log daemon.
///
/// Never waits, unlike syslog(3) when the daemon does not read: the caller may be about to hand the fan back. What the
/// daemon does not take at once is left out, and an entry before the next one that it takes says how many were. A
/// restarted daemon is found again. Any thread.
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
