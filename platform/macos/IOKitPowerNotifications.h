#pragma once

#include "core/hold/PowerNotifications.h"

namespace kelo {

/// Delivers the messages of IOKit's root power domain through the run loop of the registering thread, in the default
/// mode.
///
/// If the notification port has no run-loop source, the registration fails: otherwise the system would wait 30 seconds
/// before each sleep for an answer that cannot come.
class IOKitPowerNotifications : public PowerNotifications {
public:
    [[nodiscard]] std::unique_ptr<PowerRegistration> registerForSystemPower(PowerHandler onMessage) override;
};

} // namespace kelo
