#include "platform/linux/hardware/SimulatedMacExchange.h"

namespace kelo {

std::uint32_t SimulatedMacExchange::open() {
    isOpen_ = hasLink_ = link_.connect();
    return isOpen_ ? ++handle_ : 0;
}

bool SimulatedMacExchange::exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept {
    if (!isOpen_ || connection != handle_)
        return false;
    const auto answer = link_.call(request);
    hasLink_ = answer.has_value();
    if (!answer || !*answer)
        return false;
    reply = **answer;
    return true;
}

void SimulatedMacExchange::close(std::uint32_t connection) noexcept {
    if (connection != handle_)
        return;
    isOpen_ = false;
    link_.disconnect();
}

} // namespace kelo
