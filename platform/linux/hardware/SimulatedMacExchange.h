#pragma once

#include "core/smc/SMCExchange.h"
#include "platform/linux/hardware/LastingLink.h"
#include "simulator/link/ControllerLink.h"

namespace kelo {

/// The exchange with the controller of the simulated Mac. A connection stays open when the Mac hangs, goes or is
/// restarted: exchanges fail until it is back. One may be done twice, which is the same as once for every key.
class SimulatedMacExchange : public SMCExchange {
public:
    /// `folder` is borrowed, an open descriptor.
    explicit SimulatedMacExchange(int folder, const MacTimeouts& timeouts = {}) : link_(folder, timeouts) {}

    std::uint32_t open() override;
    bool exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept override;
    void close(std::uint32_t connection) noexcept override;

    /// Whether the Mac was there when it was last needed.
    bool hasLink() const { return hasLink_; }

private:
    LastingLink<ControllerLink> link_;
    std::uint32_t handle_ = 0; ///< The last one given out.
    bool isOpen_ = false;
    bool hasLink_ = false;
};

} // namespace kelo
