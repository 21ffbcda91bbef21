#pragma once

#include "core/hold/PowerNotifications.h"

namespace kelo {

/// The messages of IOKit's root power domain, delivered by the run loop of the thread that registers, in its default
/// mode.
///
/// A notification port without a run-loop source counts as a failed registration: otherwise each sleep would be delayed
/// for 30 seconds, waiting for answers that cannot come.
class IOKitPowerNotifications : public PowerNotifications {
public:
    [[nodiscard]] std::unique_ptr<PowerRegistration> registerForSystemPower(PowerHandler onMessage) override;
};

} // namespace kelo
