#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// A connection to the system's log daemon.
///
/// Unlike syslog(3), never waits for a daemon that does not read: the caller may be about to hand the fan back. Drops
/// entries that the daemon does not accept at once, and logs their number before the next accepted entry. Reconnects
/// after the daemon is restarted. Any thread.
class SyslogSocket {
public:
    /// Connects at the first entry. `path` is a datagram socket; if it is anything else, all entries are lost.
    explicit SyslogSocket(std::string path) : path_(std::move(path)) {}

    /// The connection of this process. It is never destroyed: threads may still log while the process ends.
    static SyslogSocket& ofTheSystem();

    /// Adds "[`category`] `message`" under the process name `ident`. `priority` is a level from <syslog.h>.
    void write(int priority, const char* ident, const char* category, std::string_view message) noexcept;

private:
    bool send(int priority, const char* ident, const char* category, std::string_view message) noexcept;
    bool sendLeftOut(const char* ident) noexcept;
    void connect() noexcept;

    const std::string path_;
    std::mutex mutex_; ///< Guards the members below.
    FileDescriptor socket_;
    unsigned long leftOut_ = 0;
};

} // namespace kelo
