#include "tests/platform/posix/RecordedFaults.h"

#include <mutex>
#include <utility>

#include "platform/posix/Containment.h"

namespace kelo {
namespace {

std::mutex mutex;
std::vector<std::string> faults;

} // namespace

// Replaces the `reportFault` of the platform.
void reportFault(const char* what, const char* why) noexcept {
    const std::lock_guard lock(mutex);
    faults.push_back(std::string(what) + ": " + why);
}

std::vector<std::string> takeFaults() {
    const std::lock_guard lock(mutex);
    return std::exchange(faults, {});
}

} // namespace kelo
