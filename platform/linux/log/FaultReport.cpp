#include <syslog.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "platform/linux/log/SyslogSocket.h"
#include "platform/posix/Containment.h"

namespace kelo {

void reportFault(const char* what, const char* why) noexcept {
    std::array<char, 1024> text{};
    std::snprintf(text.data(), text.size(), "%s: %s", what, why);
    SyslogSocket::ofTheSystem().write(LOG_CRIT, program_invocation_short_name, "platform", text.data());
}

} // namespace kelo
