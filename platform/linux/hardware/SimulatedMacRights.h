#pragma once

#include "core/fan/Rights.h"
#include "platform/linux/socket/SimulatedMacFolder.h"

namespace kelo {

/// Whoever owns the simulated Mac is its superuser.
class SimulatedMacRights : public Rights {
public:
    /// `folder` is borrowed.
    explicit SimulatedMacRights(const SimulatedMacFolder& folder) : folder_(folder) {}
    bool isRoot() override { return folder_.isOwnedByUs(); }

private:
    const SimulatedMacFolder& folder_;
};

} // namespace kelo
