#include "simulator/link/HardwareLink.h"

#include <string>

namespace kelo {

using namespace hardware_calls;

std::unique_ptr<HardwareLink> HardwareLink::connect(int folder, std::chrono::milliseconds timeout) {
    auto connection = MacConnection::connect(folder, socketName, timeout);
    if (!connection)
        return nullptr;
    return std::unique_ptr<HardwareLink>(new HardwareLink(std::move(*connection)));
}

AnyAnswer HardwareLink::answerTo(const AnyCall& call) {
    const auto bytes = connection_.ask(encode(call), buffer());
    try {
        auto answer = decodeAnswer(bytes);
        if (const auto* refused = std::get_if<Refused>(&answer))
            throw CallFailed(refused->sentence);
        return answer;
    } catch (const std::invalid_argument& error) {
        connection_.close();
        throw CallFailed(std::string("The simulated Mac cannot be understood: ") + error.what() + ".");
    }
}

void HardwareLink::tell(const AllowPowerChange& call) { connection_.tell(encode(AnyCall(call))); }

std::optional<PowerAnnouncement> HardwareLink::receiveAnnouncement() try {
    return std::get<PowerAnnouncement>(decodeAnswer(connection_.receive(buffer())));
} catch (const std::exception&) {
    return std::nullopt;
}

} // namespace kelo
