#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <utility>

#include "platform/linux/hardware/MacWire.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/socket/UnixSocket.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {
namespace {

using mac_wire::bytesOf;
using mac_wire::PowerEvent;

constexpr double firstDelay = 1;   // seconds
constexpr double longestDelay = 8; // seconds

/// Reconnects at increasing intervals while there is no connection, since a hold relies on sleep notifications.
class Registration : public PowerRegistration {
public:
    Registration(int folder, EventLoop& loop, const MacTimeouts& timeouts, PowerHandler onMessage)
        : folder_(folder), loop_(loop), timeouts_(timeouts),
          onMessage_(std::make_shared<const PowerHandler>(std::move(onMessage))) {}

    /// Returns false if there is no root power domain. If the registration fails for any other reason, retries later.
    bool start() {
        const auto outcome = connect(timeouts_.answer);
        if (outcome == Outcome::failed)
            tryLater();
        return outcome != Outcome::noPowerDomain;
    }

    /// Ignores send errors: the simulated Mac stops waiting for the answer after a while.
    void allowPowerChange(std::intptr_t notificationID) noexcept override {
        const std::int64_t id = notificationID;
        unix_socket::send(socket_.get(), bytesOf(id));
    }

private:
    enum class Outcome { registered, noPowerDomain, failed };

    /// Waits for the Mac to confirm the registration, so that no later sleep is missed.
    Outcome connect(std::chrono::milliseconds timeout) {
        auto socket = unix_socket::connect(folder_, mac_wire::powerSocket, timeouts_.retry);
        if (!socket.isValid())
            return errno == ENOENT || errno == ECONNREFUSED ? Outcome::noPowerDomain : Outcome::failed;
        unix_socket::setTimeout(socket.get(), timeout);
        mac_wire::PowerRecord record{};
        const auto received = unix_socket::receive(socket.get(), bytesOf(record));
        const auto* bytes = std::get_if<unix_socket::Bytes>(&received);
        if (bytes == nullptr)
            return Outcome::failed;
        if (bytes->size() != sizeof record || record.event != PowerEvent::registered)
            return Outcome::noPowerDomain;
        unix_socket::setTimeout(socket.get(), timeouts_.retry);
        try {
            watch_ = loop_.watchUrgent(socket.get(), [this] { receive(); });
        } catch (const std::exception&) { // the kernel has no room for another watch
            return Outcome::failed;
        }
        socket_ = std::move(socket);
        isMacAsleep_ = record.notificationID != 0;
        return Outcome::registered;
    }

    void tryLater() {
        timer_ = loop_.scheduleTimer(delay_, false, [this] { tryAgain(); });
        delay_ = std::min(2 * delay_, longestDelay);
    }

    void tryAgain() {
        tryLater(); // first, so that any failure below is retried
        if (connect(timeouts_.retry) != Outcome::registered)
            return;
        timer_.reset();
        delay_ = firstDelay;
        if (isMacAsleep_ != isSleepReported_) // the Mac fell asleep, woke or was restarted meanwhile
            report(isMacAsleep_ ? PowerMessage::systemWillSleep : PowerMessage::systemHasPoweredOn, 0);
    }

    void report(PowerMessage message, std::intptr_t id) {
        if (message != PowerMessage::canSystemSleep)
            isSleepReported_ = message == PowerMessage::systemWillSleep;
        const auto onMessage = onMessage_; // the handler may destroy this registration
        (*onMessage)(message, id);
    }

    void receive() {
        mac_wire::PowerRecord record{};
        const auto received = unix_socket::receive(socket_.get(), bytesOf(record));
        const auto* bytes = std::get_if<unix_socket::Bytes>(&received);
        if (bytes == nullptr || bytes->size() != sizeof record)
            return disconnect();
        const auto id = static_cast<std::intptr_t>(record.notificationID);
        switch (record.event) {
        case PowerEvent::canSleep:
            return report(PowerMessage::canSystemSleep, id);
        case PowerEvent::willSleep:
            return report(PowerMessage::systemWillSleep, id);
        case PowerEvent::hasPoweredOn:
            return report(PowerMessage::systemHasPoweredOn, id);
        case PowerEvent::willPowerOn:
            return; // needs no reaction
        case PowerEvent::registered:
            break; // expected only as the first record
        }
        disconnect();
    }

    void disconnect() {
        watch_.reset();
        socket_ = {};
        tryLater();
    }

    const int folder_;
    EventLoop& loop_;
    const MacTimeouts timeouts_;
    const std::shared_ptr<const PowerHandler> onMessage_; ///< Shared: copying it allocates nothing.
    double delay_ = firstDelay;                           ///< Seconds until the next attempt.
    std::unique_ptr<Timer> timer_;                        ///< Null while registered.
    FileDescriptor socket_;                               ///< Invalid while not registered.
    bool isMacAsleep_ = false;                            ///< Whether the Mac was asleep at the time of registration.
    bool isSleepReported_ = false; ///< Whether the last message to the handler was sleep rather than wake.
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
