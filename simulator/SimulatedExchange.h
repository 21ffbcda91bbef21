#pragma once

#include <cstdint>

#include "core/smc/SMCExchange.h"

namespace kelo {

class SimulatedController;

/// The exchange with a simulated controller in the same process.
///
/// Checks the key client's side of the contract as a kernel would: a closed or stale handle fails the exchange, and
/// `openConnections()` tells a leak.
class SimulatedExchange : public SMCExchange {
public:
    /// `controller` is borrowed.
    explicit SimulatedExchange(SimulatedController& controller) : controller_(controller) {}

    std::uint32_t open() override;
    bool exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) override;
    void close(std::uint32_t connection) override;

    bool isPresent = true; ///< Whether there is a service to open.
    bool isRoot = true;    ///< Whether the caller may write.

    int opens() const { return opens_; }
    int openConnections() const { return handle_ == 0 ? 0 : 1; }

private:
    SimulatedController& controller_;
    std::uint32_t handle_ = 0;
    int opens_ = 0;
};

} // namespace kelo
