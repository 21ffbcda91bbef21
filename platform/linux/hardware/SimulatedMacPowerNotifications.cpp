#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"

#include <optional>
#include <utility>

#include "platform/linux/loop/EventLoop.h"
#include "simulator/link/HardwareLink.h"

namespace kelo {
namespace {

using hardware_calls::PowerEvent;

/// None for an event that does not matter here.
std::optional<PowerMessage> powerMessage(PowerEvent event) {
    switch (event) {
    case PowerEvent::canSleep:
        return PowerMessage::canSystemSleep;
    case PowerEvent::willSleep:
        return PowerMessage::systemWillSleep;
    case PowerEvent::hasPoweredOn:
        return PowerMessage::systemHasPoweredOn;
    case PowerEvent::willPowerOn:
        return std::nullopt;
    }
    return std::nullopt;
}

class Registration : public PowerRegistration {
public:
    Registration(std::unique_ptr<HardwareLink> link, EventLoop& loop, PowerHandler onMessage)
        : link_(std::move(link)), onMessage_(std::move(onMessage)),
          watch_(loop.watch(link_->socket(), EventLoop::Readiness::readable, [this] { receive(); })) {}

    void allowPowerChange(std::intptr_t notificationID) noexcept override {
        try {
            link_->tell({notificationID});
        } catch (...) { // out of memory: the simulated Mac stops waiting by itself
        }
    }

private:
    void receive() {
        const auto announcement = link_->receiveAnnouncement();
        if (!announcement) {
            watch_.reset();
            return;
        }
        const auto handler = onMessage_; // it may end this registration
        if (const auto message = powerMessage(announcement->event))
            handler(*message, static_cast<std::intptr_t>(announcement->notificationID));
    }

    std::unique_ptr<HardwareLink> link_;
    PowerHandler onMessage_;
    std::unique_ptr<DescriptorWatch> watch_;
};

} // namespace

std::unique_ptr<PowerRegistration> SimulatedMacPowerNotifications::registerForSystemPower(PowerHandler onMessage) {
    auto link = HardwareLink::connect(folder_);
    if (!link)
        return nullptr;
    try {
        // Waits for the answer, so that no sleep is announced between the hold's start and its registration.
        link->call(hardware_calls::RegisterForPower{});
    } catch (const CallFailed&) {
        return nullptr;
    }
    return std::make_unique<Registration>(std::move(link), loop_, std::move(onMessage));
}

} // namespace kelo
