#include "core/hold/PowerWatch.h"

#include <utility>

namespace kelo {

PowerWatch::PowerWatch(PowerNotifications& notifications, std::function<void()> willSleep,
                       std::function<void()> didWake)
    : notifications_(notifications), willSleep_(std::move(willSleep)), didWake_(std::move(didWake)) {}

void PowerWatch::start() { registration_ = notifications_.registerForSystemPower(this, powerCallback); }

void PowerWatch::stop() { registration_.reset(); }

void PowerWatch::receive(std::uint32_t messageType, std::intptr_t notificationID) {
    switch (static_cast<PowerMessage>(messageType)) {
    case PowerMessage::canSystemSleep:
        allowPowerChange(notificationID);
        break;
    case PowerMessage::systemWillSleep:
        willSleep_(); // to its end: the system may sleep as soon as it has the answer
        allowPowerChange(notificationID);
        break;
    case PowerMessage::systemHasPoweredOn:
        didWake_();
        break;
    }
}

void PowerWatch::allowPowerChange(std::intptr_t notificationID) {
    // A callback may have stopped the watch; the system does not wait for one that is no longer registered.
    if (registration_)
        registration_->allowPowerChange(notificationID);
}

void powerCallback(void* refcon, std::uint32_t, std::uint32_t messageType, void* messageArgument) {
    if (refcon == nullptr)
        return;
    // The watch's own callbacks may let its owner go.
    const auto watch = static_cast<PowerWatch*>(refcon)->shared_from_this();
    watch->receive(messageType, reinterpret_cast<std::intptr_t>(messageArgument));
}

} // namespace kelo
