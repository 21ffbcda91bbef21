#include "core/hold/PowerWatch.h"

#include <utility>

namespace kelo {
namespace {

/// Runs at the end of its scope, however that is left.
class Finally {
public:
    explicit Finally(std::function<void()> work) : work_(std::move(work)) {}
    Finally(const Finally&) = delete;
    Finally& operator=(const Finally&) = delete;
    ~Finally() { work_(); }

private:
    std::function<void()> work_;
};

} // namespace

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
    case PowerMessage::systemWillSleep: {
        // After the callback: the system may sleep as soon as it has the answer. Also when the callback throws: without
        // an answer sleep is held up for 30 seconds.
        const Finally answer([&] { allowPowerChange(notificationID); });
        willSleep_();
        break;
    }
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
