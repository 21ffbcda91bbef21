#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <optional>
#include <system_error>
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

constexpr double firstDelay = 1;   // seconds
constexpr double longestDelay = 8; // seconds

/// Registers anew, from time to time, for as long as there is no connection: whoever holds the fans relies on being
/// told of sleep.
class Registration : public PowerRegistration {
public:
    Registration(int folder, EventLoop& loop, const MacTimeouts& timeouts, PowerHandler onMessage)
        : folder_(folder), loop_(loop), timeouts_(timeouts),
          onMessage_(std::make_shared<const PowerHandler>(std::move(onMessage))) {}

    /// False when there is no root power domain. What only lacks a connection is made up for later.
    bool start() {
        try {
            return connect(timeouts_.answer);
        } catch (const MacHangs&) {
        } catch (const MacHasGone&) {
        } catch (const CallFailed&) { // somebody who is no Mac
            return false;
        } catch (const std::system_error&) { // no descriptor is left
        }
        tryLater();
        return true;
    }

    void allowPowerChange(std::intptr_t notificationID) noexcept override {
        try {
            if (link_)
                link_->tell({notificationID});
        } catch (...) { // out of memory: the simulated Mac stops waiting by itself
        }
    }

private:
    /// Returns whether a Mac is there. Waits for its answer, so that no sleep is announced between the hold's start and
    /// its registration.
    bool connect(std::chrono::milliseconds timeouts) {
        auto link = HardwareLink::connect(folder_, timeouts_.retry);
        if (!link)
            return false;
        link->setTimeout(timeouts);
        link->call(hardware_calls::RegisterForPower{});
        link->setTimeout(timeouts_.retry);
        watch_ = loop_.watchUrgent(link->socket(), [this] { receive(); });
        link_ = std::move(link);
        return true;
    }

    void tryLater() {
        timer_ = loop_.scheduleTimer(delay_, false, [this] { tryAgain(); });
        delay_ = std::min(2 * delay_, longestDelay);
    }

    void tryAgain() {
        tryLater(); // first: nothing that goes wrong below is the end
        try {
            if (!connect(timeouts_.retry))
                return;
        } catch (const std::exception&) { // the Mac is not there again yet
            return;
        }
        timer_.reset();
        delay_ = firstDelay;
    }

    void receive() {
        const auto announcement = link_->receiveAnnouncement();
        if (!announcement) {
            watch_.reset();
            link_.reset();
            tryLater();
            return;
        }
        const auto onMessage = onMessage_; // it may end this registration
        if (const auto message = powerMessage(announcement->event))
            (*onMessage)(*message, static_cast<std::intptr_t>(announcement->notificationID));
    }

    const int folder_;
    EventLoop& loop_;
    const MacTimeouts timeouts_;
    const std::shared_ptr<const PowerHandler> onMessage_; ///< Shared: copying it allocates nothing.
    double delay_ = firstDelay;                           ///< Before the next try.
    std::unique_ptr<Timer> timer_;                        ///< Null while registered.
    std::unique_ptr<HardwareLink> link_;                  ///< Null while not.
    std::unique_ptr<DescriptorWatch> watch_;
};

} // namespace

std::unique_ptr<PowerRegistration> SimulatedMacPowerNotifications::registerForSystemPower(PowerHandler onMessage) {
    auto registration = std::make_unique<Registration>(folder_, loop_, timeouts_, std::move(onMessage));
    if (!registration->start())
        return nullptr;
    return registration;
}

} // namespace kelo
