#include "core/hold/PowerWatch.h"

#include <utility>

namespace kelo {

PowerWatch::PowerWatch(PowerNotifications& notifications, std::function<void()> willSleep,
                       std::function<void()> didWake)
    : notifications_(notifications), willSleep_(std::move(willSleep)), didWake_(std::move(didWake)) {}

PowerWatch::~PowerWatch() = default;

void PowerWatch::start() {
    if (registration_)
        return;
    registration_ =
        notifications_.registerForSystemPower([this](PowerMessage message, std::intptr_t id) { receive(message, id); });
}

void PowerWatch::stop() { registration_.reset(); }

void PowerWatch::receive(PowerMessage message, std::intptr_t notificationID) {
    switch (message) {
    case PowerMessage::canSystemSleep:
        return registration_->allowPowerChange(notificationID);
    case PowerMessage::systemWillSleep:
        // Acknowledge only after the callback, since the system may sleep immediately after the acknowledgement.
        // Acknowledge even if the callback throws, since the system otherwise waits for 30 seconds.
        try {
            willSleep_();
        } catch (...) {
            registration_->allowPowerChange(notificationID);
            throw;
        }
        return registration_->allowPowerChange(notificationID);
    case PowerMessage::systemHasPoweredOn:
        return didWake_();
    }
}

} // namespace kelo
