#include "core/hold/PowerWatch.h"

#include <utility>

namespace kelo {

PowerWatch::PowerWatch(PowerNotifications& notifications, std::function<void()> willSleep,
                       std::function<void()> didWake)
    : notifications_(notifications), willSleep_(std::move(willSleep)), didWake_(std::move(didWake)) {}

void PowerWatch::start() {
    registration_ =
        notifications_.registerForSystemPower([weak = weak_from_this()](PowerMessage message, std::intptr_t id) {
            if (const auto watch = weak.lock()) // kept alive: its own callbacks may let its owner go
                watch->receive(message, id);
        });
}

void PowerWatch::stop() { registration_.reset(); }

void PowerWatch::receive(PowerMessage message, std::intptr_t notificationID) {
    switch (message) {
    case PowerMessage::canSystemSleep:
        return allowPowerChange(notificationID);
    case PowerMessage::systemWillSleep:
        // After the callback: the system may sleep as soon as it has the answer. Also when the callback throws: without
        // an answer sleep is held up for 30 seconds.
        try {
            willSleep_();
        } catch (...) {
            allowPowerChange(notificationID);
            throw;
        }
        return allowPowerChange(notificationID);
    case PowerMessage::systemHasPoweredOn:
        return didWake_();
    }
}

void PowerWatch::allowPowerChange(std::intptr_t notificationID) noexcept {
    // A callback may have stopped the watch; the system does not wait for a client that is no longer registered.
    if (registration_)
        registration_->allowPowerChange(notificationID);
}

} // namespace kelo
