#include "platform/linux/hardware/SimulatedMacExchange.h"

#include <cstring>

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
    Message::binary_t record(std::vector<std::uint8_t>(sizeof request));
    std::memcpy(record.data(), &request, sizeof request);
    const auto answer = link_->call({{"call", "exchange"}, {"record", std::move(record)}});
    if (!answer || !answer->contains("record") || !answer->at("record").is_binary() ||
        answer->at("record").get_binary().size() != sizeof reply)
        return false;
    std::memcpy(&reply, answer->at("record").get_binary().data(), sizeof reply);
    return true;
}

void SimulatedMacExchange::close(std::uint32_t connection) noexcept {
    if (connection == handle_)
        link_.reset();
}

} // namespace kelo
