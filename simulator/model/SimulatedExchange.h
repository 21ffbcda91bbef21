#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "core/smc/SMCExchange.h"

namespace kelo {

class SimulatedController;
class SimulatedMac;

/// The exchange with a simulated controller, or with a whole simulated Mac, in the same process.
///
/// Checks the key client's side of the contract as a kernel would: a closed or stale handle fails the exchange, and
/// `openConnections()` and `wrongCloses()` reveal a leak and a wrong handle.
class SimulatedExchange : public SMCExchange {
public:
    /// What is passed is borrowed.
    explicit SimulatedExchange(SimulatedController& controller);
    explicit SimulatedExchange(SimulatedMac& mac);

    std::uint32_t open() override;
    bool exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept override;
    void close(std::uint32_t connection) noexcept override;

    bool isPresent = true; ///< Whether there is a service to open.
    bool isRoot = true;    ///< Whether the caller may write.

    int opens() const { return opens_; }
    int openConnections() const { return handle_ == 0 ? 0 : 1; }
    /// Connections that were closed and were not open.
    int wrongCloses() const { return wrongCloses_; }

private:
    std::function<std::optional<SMCKeyData>(const SMCKeyData&, bool)> perform_;
    std::uint32_t handle_ = 0;
    int opens_ = 0;
    int wrongCloses_ = 0;
};

} // namespace kelo
