#include "platform/linux/hardware/SimulatedMacExchange.h"

#include "simulator/link/HardwareLink.h"

namespace kelo {

SimulatedMacExchange::SimulatedMacExchange(int folder) : folder_(folder) {}

SimulatedMacExchange::~SimulatedMacExchange() = default;

std::uint32_t SimulatedMacExchange::open() {
    link_ = HardwareLink::connect(folder_);
    return link_ ? ++handle_ : 0;
}

bool SimulatedMacExchange::exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept {
    if (!link_ || connection != handle_)
        return false;
    try {
        const auto record = link_->call(hardware_calls::Exchange{request}).record;
        if (record)
            reply = *record;
        return record.has_value();
    } catch (...) { // the call failed, or no memory is left for it
        return false;
    }
}

void SimulatedMacExchange::close(std::uint32_t connection) noexcept {
    if (connection == handle_)
        link_.reset();
}

} // namespace kelo
