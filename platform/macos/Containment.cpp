#include "platform/macos/Containment.h"

#include <os/log.h>

#include <exception>

#include "protocol/KeloHelper.h"

namespace kelo {

void contain(const char* what, const std::function<void()>& work) noexcept {
    try {
        work();
    } catch (const std::exception& error) {
        reportFault(what, error.what());
    } catch (...) { // Objective-C exceptions, too
        reportFault(what, "an unknown exception");
    }
}

void reportFault(const char* what, const char* why) noexcept {
    static const os_log_t log = os_log_create(KeloHelper::machServiceName, "platform");
    os_log_with_type(log, OS_LOG_TYPE_FAULT, "%{public}s: %{public}s", what, why);
}

} // namespace kelo
