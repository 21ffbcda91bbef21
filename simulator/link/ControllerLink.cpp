#include "simulator/link/ControllerLink.h"

#include <cstring>

namespace kelo {

std::unique_ptr<ControllerLink> ControllerLink::connect(int folder, std::chrono::milliseconds timeout) {
    auto connection = MacConnection::connect(folder, socketName, timeout);
    if (!connection)
        return nullptr;
    return std::unique_ptr<ControllerLink>(new ControllerLink(std::move(*connection)));
}

std::optional<SMCKeyData> ControllerLink::call(const SMCKeyData& request) {
    SMCKeyData reply;
    const auto answer = connection_.ask(bytesOf(request), bytesOf(reply));
    if (answer.size() == sizeof reply)
        return reply;
    if (answer.size() == failedExchange.size())
        return std::nullopt;
    connection_.close();
    throw CallFailed("The simulated Mac's controller answered something that is no record.");
}

} // namespace kelo
