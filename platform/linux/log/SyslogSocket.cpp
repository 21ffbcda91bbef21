#include "platform/linux/log/SyslogSocket.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>

namespace kelo {
namespace {

using Header = std::array<char, 256>;

/// Formats the header of a message as in RFC 3164. The time is in UTC: the C library's functions for local time, and
/// even gmtime, open the file that the environment variable TZ names. That file may be a pipe without a writer.
std::size_t fill(Header& header, int priority, const char* ident, const char* category) {
    using namespace std::chrono;
    constexpr std::array months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto now = floor<seconds>(system_clock::now());
    const auto midnight = floor<days>(now);
    const year_month_day date{midnight};
    const hh_mm_ss time{now - midnight};
    const int length = std::snprintf(header.data(), header.size(), "<%d>%s %2u %02d:%02d:%02d %.64s[%d]: [%.64s] ",
                                     LOG_DAEMON | priority, months[static_cast<unsigned>(date.month()) - 1],
                                     static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                                     static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
                                     ident, static_cast<int>(getpid()), category);
    return static_cast<std::size_t>(length);
}

} // namespace

SyslogSocket& SyslogSocket::ofTheSystem() {
    static auto& socket = *new SyslogSocket("/dev/log");
    return socket;
}

void SyslogSocket::write(int priority, const char* ident, const char* category, std::string_view message) noexcept {
    const std::lock_guard lock(mutex_);
    if (!sendLeftOut(ident) || !send(priority, ident, category, message))
        ++leftOut_;
}

/// Logs the number of omitted entries before the next entry, so that the log shows where entries are missing.
bool SyslogSocket::sendLeftOut(const char* ident) noexcept {
    if (leftOut_ == 0)
        return true;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "Entries left out here: %lu", leftOut_);
    if (!send(LOG_WARNING, ident, "platform", text.data()))
        return false;
    leftOut_ = 0;
    return true;
}

bool SyslogSocket::send(int priority, const char* ident, const char* category, std::string_view message) noexcept {
    Header header{};
    std::array<iovec, 2> parts{{{header.data(), fill(header, priority, ident, category)},
                                {const_cast<char*>(message.data()), message.size()}}};
    msghdr entry{};
    entry.msg_iov = parts.data();
    entry.msg_iovlen = parts.size();
    const auto isSent = [&] { return sendmsg(socket_.get(), &entry, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0; };
    if (isSent())
        return true;
    if (errno == EAGAIN || errno == ENOBUFS || errno == EMSGSIZE)
        return false; // the daemon is running, so reconnecting would not help
    connect();
    return isSent();
}

void SyslogSocket::connect() noexcept {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    socket_ = FileDescriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        socket_ = {};
}

} // namespace kelo
