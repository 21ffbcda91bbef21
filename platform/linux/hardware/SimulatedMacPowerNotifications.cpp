#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"

#include "platform/linux/loop/EventLoop.h"
#include "simulator/link/HardwareLink.h"

namespace kelo {
namespace {

using hardware_calls::PowerEvent;

/// What the system's own interface calls an event.
std::uint32_t messageType(PowerEvent event) {
    switch (event) {
    case PowerEvent::canSleep:
        return 0xE0000270;
    case PowerEvent::willSleep:
        return 0xE0000280;
    case PowerEvent::willPowerOn:
        return 0xE0000320;
    case PowerEvent::hasPoweredOn:
        return 0xE0000300;
    }
    return 0;
}

class Registration : public PowerRegistration {
public:
    Registration(std::unique_ptr<HardwareLink> link, EventLoop& loop, void* refcon, PowerCallback callback)
        : link_(std::move(link)), refcon_(refcon), callback_(callback),
          watch_(loop.watch(link_->socket(), EventLoop::Readiness::readable, [this] { receive(); })) {}

    void allowPowerChange(std::intptr_t notificationID) noexcept override {
        try {
            link_->tell({notificationID});
        } catch (...) { // no memory is left for it: the simulated Mac stops waiting by itself
        }
    }

private:
    void receive() {
        const auto announcement = link_->receiveAnnouncement();
        if (!announcement) {
            watch_.reset();
            return;
        }
        // Last: the callback may end this registration.
        callback_(refcon_, 0, messageType(announcement->event),
                  reinterpret_cast<void*>(static_cast<std::intptr_t>(announcement->notificationID)));
    }

    std::unique_ptr<HardwareLink> link_;
    void* refcon_;
    PowerCallback callback_;
    std::unique_ptr<DescriptorWatch> watch_;
};

} // namespace

std::unique_ptr<PowerRegistration> SimulatedMacPowerNotifications::registerForSystemPower(void* refcon,
                                                                                          PowerCallback callback) {
    auto link = HardwareLink::connect(folder_);
    if (!link)
        return nullptr;
    try {
        // Waits for the answer, so that no sleep is announced between the hold's start and its registration.
        link->call(hardware_calls::RegisterForPower{});
    } catch (const CallFailed&) {
        return nullptr;
    }
    return std::make_unique<Registration>(std::move(link), loop_, refcon, callback);
}

} // namespace kelo
