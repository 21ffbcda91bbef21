#include "platform/linux/hardware/LastingLink.h"

namespace kelo {

bool LastingLink::connect() noexcept {
    disconnect();
    try {
        link_ = HardwareLink::connect(folder_, timeouts_.retry);
    } catch (...) { // the Mac accepts nobody, or there is no descriptor or no memory left
    }
    return link_ != nullptr;
}

void LastingLink::prepare() {
    if (!link_)
        link_ = HardwareLink::connect(folder_, timeouts_.retry);
    if (!link_)
        throw CallFailed("No simulated Mac is there.");
    link_->setTimeout(isTakenToHang() ? timeouts_.retry : timeouts_.answer);
}

/// Not prolonged by the calls that follow, so that a Mac that is only slow is heard again in the end.
void LastingLink::rememberHanging() {
    if (!isTakenToHang())
        hungUntil_ = Clock::now() + timeouts_.memory;
}

} // namespace kelo
