#include "simulator/server/HardwareServer.h"

#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstring>
#include <exception>
#include <string>
#include <utility>

#include "platform/linux/hardware/MacWire.h"
#include "platform/linux/socket/UnixSocket.h"
#include "simulator/link/HardwareLink.h"

namespace kelo {

using namespace hardware_calls;
using mac_wire::bytesOf;

namespace {

/// Several times the size of our largest call.
constexpr std::size_t maximumMessageSize = 4096;

/// A clock that returns the seconds since this call, multiplied by `speed`.
std::function<double()> stopwatch(double speed) {
    using Clock = std::chrono::steady_clock;
    return
        [start = Clock::now(), speed] { return std::chrono::duration<double>(Clock::now() - start).count() * speed; };
}

mac_wire::PowerEvent eventOf(RootPowerDomain::Announcement announcement) {
    switch (announcement) {
    case RootPowerDomain::Announcement::canSystemSleep:
        return mac_wire::PowerEvent::canSleep;
    case RootPowerDomain::Announcement::systemWillSleep:
        return mac_wire::PowerEvent::willSleep;
    case RootPowerDomain::Announcement::systemWillPowerOn:
        return mac_wire::PowerEvent::willPowerOn;
    case RootPowerDomain::Announcement::systemHasPoweredOn:
        break;
    }
    return mac_wire::PowerEvent::hasPoweredOn;
}

} // namespace

HardwareServer::HardwareServer(EventLoop& loop, int folder, const Profile& profile, double heatSpeed, double clockSpeed)
    : loop_(loop),
      handlers_(loop, stopwatch(clockSpeed), profile, heatSpeed), hardware_{unix_socket::listen(
                                                                                folder, mac_wire::hardwareSocket),
                                                                            &HardwareServer::answerQuestion},
      power_{unix_socket::listen(folder, mac_wire::powerSocket), &HardwareServer::allowPowerChange},
      calls_{unix_socket::listen(folder, HardwareLink::socketName), &HardwareServer::performCall} {
    for (auto* door : {&hardware_, &power_, &calls_})
        door->accepting =
            loop_.watch(door->listening.get(), EventLoop::Readiness::readable, [this, door] { accept(*door); });
}

void HardwareServer::accept(const Door& door) {
    auto socket = unix_socket::accept(door.listening.get());
    if (!socket.isValid())
        return; // out of descriptors: the client is accepted once another client has disconnected
    const int id = nextConnection_++;
    auto watch = loop_.watch(socket.get(), EventLoop::Readiness::readable, [this, id, &door] { receive(id, door); });
    connections_.emplace(id, Connection{std::move(socket), std::move(watch)});
    if (&door == &power_)
        registerForPower(id);
}

/// Receives only one message per event, so that the connections are served in turn.
void HardwareServer::receive(int id, const Door& door) {
    std::array<std::uint8_t, maximumMessageSize> buffer;
    const auto received = unix_socket::receive(connections_.at(id).socket.get(), buffer);
    if (std::holds_alternative<unix_socket::Ended>(received))
        drop(id);
    else if (const auto* message = std::get_if<unix_socket::Bytes>(&received))
        (this->*door.onMessage)(id, *message);
}

void HardwareServer::performCall(int id, Message message) try {
    handlers_.perform(decodeCall(message), [this, id](const AnyAnswer& answer) { send(id, encode(answer)); });
} catch (const std::exception& error) { // the call or its key is invalid
    send(id, encode(Refused{std::string("That cannot be done: ") + error.what() + "."}));
}

/// Answers a record for the controller or a query of the lid.
void HardwareServer::answerQuestion(int id, Message message) {
    if (message.size() == sizeof mac_wire::lidQuestion) {
        const auto lid = mac_wire::encode(handlers_.lid());
        return send(id, bytesOf(lid));
    }
    SMCKeyData request;
    if (message.size() != sizeof request)
        return drop(id);
    std::memcpy(&request, message.data(), sizeof request);
    auto reply = handlers_.exchange(request);
    if (reply)
        reply->data8 = request.data8;
    if (handlers_.exchangeDelay() > 0)
        loop_.postAfter(handlers_.exchangeDelay(), [this, id, reply] { sendReply(id, reply); });
    else
        sendReply(id, reply);
}

void HardwareServer::sendReply(int id, const std::optional<SMCKeyData>& reply) {
    send(id, reply ? bytesOf(*reply) : bytesOf(mac_wire::failedExchange));
}

void HardwareServer::registerForPower(int id) {
    const auto notify = [this, id](mac_wire::PowerEvent event, std::int64_t notificationID) {
        const mac_wire::PowerRecord record{event, notificationID};
        send(id, bytesOf(record));
    };
    connections_.at(id).powerClient = handlers_.power().addClient(
        [notify](auto announcement, auto number) { notify(eventOf(announcement), number); });
    notify(mac_wire::PowerEvent::registered, handlers_.power().isAsleep() ? 1 : 0);
}

void HardwareServer::allowPowerChange(int id, Message message) {
    std::int64_t notificationID = 0;
    if (message.size() != sizeof notificationID)
        return drop(id);
    std::memcpy(&notificationID, message.data(), sizeof notificationID);
    handlers_.power().acknowledge(connections_.at(id).powerClient.value(), notificationID);
}

/// Sends a message. If that fails because the client does not read its replies, shuts down the client's socket. The
/// next event on the socket then drops the client.
void HardwareServer::send(int id, Message message) {
    const auto found = connections_.find(id);
    if (found != connections_.end() &&
        unix_socket::send(found->second.socket.get(), message) != unix_socket::Sent::whole)
        shutdown(found->second.socket.get(), SHUT_RDWR);
}

void HardwareServer::drop(int id) {
    const auto connection = connections_.extract(id); // first, since the code below may send
    if (const auto client = connection.mapped().powerClient)
        handlers_.power().removeClient(*client);
}

} // namespace kelo
