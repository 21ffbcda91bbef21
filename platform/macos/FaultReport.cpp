#include <os/log.h>

#include "platform/posix/Containment.h"
#include "protocol/KeloHelper.h"

namespace kelo {

void reportFault(const char* what, const char* why) noexcept {
    static const os_log_t log = os_log_create(KeloHelper::machServiceName, "platform");
    os_log_with_type(log, OS_LOG_TYPE_FAULT, "%{public}s: %{public}s", what, why);
}

} // namespace kelo
