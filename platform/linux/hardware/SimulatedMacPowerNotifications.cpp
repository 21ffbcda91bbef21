#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"

#include <optional>
#include <utility>

#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/socket/UnixSocket.h"
#include "simulator/link/HardwareLink.h"

namespace kelo {
namespace {

std::optional<PowerMessage> powerMessage(std::uint32_t number) {
    switch (number) {
    case 0xE0000270:
        return PowerMessage::canSystemSleep;
    case 0xE0000280:
        return PowerMessage::systemWillSleep;
    case 0xE0000300:
        return PowerMessage::systemHasPoweredOn;
    default:
        return std::nullopt;
    }
}

class Registration : public PowerRegistration {
public:
    Registration(std::unique_ptr<HardwareLink> link, EventLoop& loop, PowerHandler onMessage)
        : link_(std::move(link)), onMessage_(std::move(onMessage)),
          watch_(loop.watch(link_->socket(), EventLoop::Readiness::readable, [this] { receive(); })) {}

    void allowPowerChange(std::intptr_t notificationID) noexcept override {
        link_->tell({{"call", "allowPowerChange"}, {"id", notificationID}});
    }

private:
    void receive() {
        const auto received = unix_socket::receive(link_->socket(), HardwareLink::maximumMessageSize);
        const auto* bytes = std::get_if<std::vector<std::uint8_t>>(&received);
        const auto message = bytes != nullptr ? decodeMessage(*bytes) : std::nullopt;
        if (!message) {
            watch_.reset(); // the simulated Mac has gone; nothing more will come
            return;
        }
        const auto handler = onMessage_; // it may end this registration
        if (const auto known = powerMessage(message->value("power", std::uint32_t{0})))
            handler(*known, message->value("id", std::intptr_t{0}));
    }

    std::unique_ptr<HardwareLink> link_;
    PowerHandler onMessage_;
    std::unique_ptr<DescriptorWatch> watch_;
};

} // namespace

std::unique_ptr<PowerRegistration> SimulatedMacPowerNotifications::registerForSystemPower(PowerHandler onMessage) {
    auto link = HardwareLink::connect(folder_);
    // Waits for the answer, so that no sleep is announced between the hold's start and its registration.
    if (!link || link->call({{"call", "registerPower"}}) != Message::object())
        return nullptr;
    return std::make_unique<Registration>(std::move(link), loop_, std::move(onMessage));
}

} // namespace kelo
