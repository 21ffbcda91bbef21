#pragma once

#include <memory>

#include "core/smc/SMCExchange.h"

namespace kelo {

class HardwareLink;

/// The exchange with the controller of the simulated Mac.
class SimulatedMacExchange : public SMCExchange {
public:
    /// `folder` is borrowed, an open descriptor.
    explicit SimulatedMacExchange(int folder);
    ~SimulatedMacExchange() override;

    std::uint32_t open() override;
    bool exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept override;
    void close(std::uint32_t connection) noexcept override;

private:
    int folder_;
    std::unique_ptr<HardwareLink> link_; ///< Null while closed.
    std::uint32_t handle_ = 0;
};

} // namespace kelo
