#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"

#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/socket/UnixSocket.h"
#include "simulator/link/HardwareLink.h"

namespace kelo {
namespace {

class Registration : public PowerRegistration {
public:
    Registration(std::unique_ptr<HardwareLink> link, EventLoop& loop, void* refcon, PowerCallback callback)
        : link_(std::move(link)), refcon_(refcon), callback_(callback),
          watch_(loop.watch(link_->socket(), EventLoop::Readiness::readable, [this] { receive(); })) {}

    void allowPowerChange(std::intptr_t notificationID) override {
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
        // Last: the callback may end this registration.
        callback_(refcon_, 0, message->value("power", std::uint32_t{0}),
                  reinterpret_cast<void*>(message->value("id", std::intptr_t{0})));
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
    // Waits for the answer, so that no sleep is announced between the hold's start and its registration.
    if (!link || link->call({{"call", "registerPower"}}) != Message::object())
        return nullptr;
    return std::make_unique<Registration>(std::move(link), loop_, refcon, callback);
}

} // namespace kelo
