#include "simulator/server/MacViews.h"

#include <algorithm>

#include "simulator/model/SimulatedMac.h"

namespace kelo::mac_views {
namespace {

constexpr std::size_t shownWrites = 1000;

bool isWriteCarriedOut(const ExchangeRecord& record) {
    return record.request.data8 == static_cast<std::uint8_t>(SMCCommand::writeBytes) && record.reply &&
           record.reply->result == 0;
}

} // namespace

std::vector<hardware_calls::FanState> fans(SimulatedMac& mac) {
    auto& controller = mac.controller();
    std::vector<hardware_calls::FanState> fans;
    for (int i = 0; i < mac.fanCount(); ++i) {
        const auto number = [&](const char* suffix) {
            const auto key = "F" + std::to_string(i) + suffix;
            return controller.has(key) ? std::optional(controller.number(key)) : std::nullopt;
        };
        fans.push_back({.index = i,
                        .currentRPM = number("Ac"),
                        .minRPM = number("Mn"),
                        .maxRPM = number("Mx"),
                        .targetRPM = number("Tg"),
                        .isManual = number("Md").value_or(0) != 0});
    }
    return fans;
}

std::map<std::string, double> temperatures(SimulatedMac& mac) {
    auto& controller = mac.controller();
    std::map<std::string, double> temperatures;
    for (const auto& name : controller.names())
        if (name.front() == 'T')
            temperatures[name] = controller.number(name);
    return temperatures;
}

std::vector<hardware_calls::Write> writes(SimulatedMac& mac) {
    std::vector<hardware_calls::Write> writes;
    const auto& log = mac.controller().log();
    for (auto record = log.rbegin(); record != log.rend() && writes.size() < shownWrites; ++record) {
        if (!isWriteCarriedOut(*record))
            continue;
        const auto& request = record->request;
        const auto size = std::min<std::size_t>(request.keyInfo.dataSize, sizeof request.bytes);
        writes.push_back({record->time, record->key(), {request.bytes, request.bytes + size}});
    }
    std::reverse(writes.begin(), writes.end());
    return writes;
}

} // namespace kelo::mac_views
