#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "core/smc/SMCExchange.h"

namespace kelo {

class SimulatedController;
class SimulatedMac;

/// Exchanges records with a simulated controller or a whole simulated Mac in the same process.
///
/// Like the kernel, fails an exchange on a closed or stale handle. `openConnections()` reveals a leaked handle, and
/// `wrongCloses()` reveals a call of `close` with a wrong handle.
class SimulatedExchange : public SMCExchange {
public:
    /// The argument is borrowed.
    explicit SimulatedExchange(SimulatedController& controller);
    explicit SimulatedExchange(SimulatedMac& mac);

    std::uint32_t open() override;
    bool exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept override;
    void close(std::uint32_t connection) noexcept override;

    bool isPresent = true; ///< Whether there is a service to open.
    bool isRoot = true;    ///< Whether the caller may write.

    int opens() const { return opens_; }
    int openConnections() const { return handle_ == 0 ? 0 : 1; }
    /// The number of calls of `close` for a connection that was not open.
    int wrongCloses() const { return wrongCloses_; }

private:
    std::function<std::optional<SMCKeyData>(const SMCKeyData&, bool)> perform_;
    std::uint32_t handle_ = 0;
    int opens_ = 0;
    int wrongCloses_ = 0;
};

} // namespace kelo
