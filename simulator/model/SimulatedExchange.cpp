#include "simulator/model/SimulatedExchange.h"

#include <stdexcept>

#include "simulator/model/SimulatedController.h"
#include "simulator/model/SimulatedMac.h"

namespace kelo {

SimulatedExchange::SimulatedExchange(SimulatedController& controller)
    : perform_([&controller](const SMCKeyData& request, bool isRootCaller) {
          return controller.exchange(request, isRootCaller);
      }) {}

SimulatedExchange::SimulatedExchange(SimulatedMac& mac)
    : perform_([&mac](const SMCKeyData& request, bool isRootCaller) { return mac.exchange(request, isRootCaller); }) {}

std::uint32_t SimulatedExchange::open() {
    ++opens_;
    if (!isPresent)
        return 0;
    if (handle_ != 0)
        throw std::logic_error("a second connection was opened");
    handle_ = 0x1000U + static_cast<std::uint32_t>(opens_); // never reused, so that a stale handle is detected
    return handle_;
}

bool SimulatedExchange::exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept {
    if (connection == 0 || connection != handle_)
        return false;
    const auto answer = perform_(request, isRoot);
    if (answer)
        reply = *answer;
    return answer.has_value();
}

void SimulatedExchange::close(std::uint32_t connection) noexcept {
    if (connection != 0 && connection == handle_)
        handle_ = 0;
    else
        ++wrongCloses_;
}

} // namespace kelo
