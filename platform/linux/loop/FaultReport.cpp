#include <syslog.h>

#include "platform/posix/Containment.h"

namespace kelo {

void reportFault(const char* what, const char* why) noexcept { syslog(LOG_CRIT, "[platform] %s: %s", what, why); }

} // namespace kelo
