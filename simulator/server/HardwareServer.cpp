#include "simulator/server/HardwareServer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <exception>
#include <string>
#include <utility>

#include "platform/linux/socket/UnixSocket.h"
#include "simulator/link/ControllerLink.h"
#include "simulator/link/HardwareLink.h"
#include "simulator/link/LidLink.h"

namespace kelo {

using namespace hardware_calls;

namespace {

/// Returns the seconds that have passed since it was made, each of which counts `speed` times.
std::function<double()> stopwatch(double speed) {
    using Clock = std::chrono::steady_clock;
    return
        [start = Clock::now(), speed] { return std::chrono::duration<double>(Clock::now() - start).count() * speed; };
}

constexpr double acceptPause = 0.1; // seconds to wait when the system has no room for another connection

std::optional<uid_t> userOf(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return std::nullopt;
    return peer.uid;
}

/// Whoever runs the simulated Mac is its superuser, and so is the system's superuser.
bool isRoot(uid_t user) { return user == 0 || user == geteuid(); }

} // namespace

HardwareServer::HardwareServer(EventLoop& loop, int folder, const Profile& profile, double heatSpeed, double clockSpeed)
    : loop_(loop), handlers_(loop, stopwatch(clockSpeed), profile, heatSpeed),
      controller_{unix_socket::listen(folder, ControllerLink::socketName), &HardwareServer::readRecord, nullptr},
      lid_{unix_socket::listen(folder, LidLink::socketName), &HardwareServer::readLook, nullptr},
      calls_{unix_socket::listen(folder, HardwareLink::socketName), &HardwareServer::readCall, nullptr} {
    for (auto* door : {&controller_, &lid_, &calls_})
        watch(*door);
}

HardwareServer::~HardwareServer() = default;

void HardwareServer::watch(Door& door) {
    door.accepting =
        loop_.watch(door.listening.get(), EventLoop::Readiness::readable, [this, &door] { acceptNext(door); });
}

/// One connection for each readiness, so that those who leave are noticed, and calls answered, between those who come.
void HardwareServer::acceptNext(Door& door) {
    auto socket = unix_socket::accept(door.listening.get());
    if (socket.isValid())
        return consider(std::move(socket), door.onReadable);
    if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        // The waiting connection stays ready; without a pause the loop would spin on it.
        door.accepting.reset();
        loop_.postAfter(acceptPause, [this, &door] { acceptAgain(door); });
    }
}

/// Tried until it works: without it nobody would be let in until the Mac is started anew.
void HardwareServer::acceptAgain(Door& door) {
    try {
        watch(door);
    } catch (const std::exception&) {
        loop_.postAfter(acceptPause, [this, &door] { acceptAgain(door); });
    }
}

/// Whoever finds no place is dropped without a word.
void HardwareServer::consider(FileDescriptor socket, OnReadable onReadable) {
    const auto user = userOf(socket.get());
    if (!user || !hasPlaceFor(*user))
        return;
    const int id = nextConnection_++;
    auto watch =
        loop_.watch(socket.get(), EventLoop::Readiness::readable, [this, id, onReadable] { (this->*onReadable)(id); });
    Caller caller{isRoot(*user), [this, id](const AnyAnswer& answer) { send(id, encode(answer)); }};
    connections_.emplace(id, Connection{std::move(socket), std::move(watch), *user, std::move(caller)});
}

bool HardwareServer::hasPlaceFor(uid_t user) const {
    if (isRoot(user))
        return true;
    const auto count = [this](auto isCounted) {
        return std::count_if(connections_.begin(), connections_.end(),
                             [&](const auto& entry) { return isCounted(entry.second.user); });
    };
    return count([user](uid_t other) { return other == user; }) < maximumOfStranger &&
           count([](uid_t other) { return !isRoot(other); }) < maximumOfStrangers;
}

/// One call for each readiness, so that others have their turn between the calls of one.
void HardwareServer::readCall(int id) {
    auto& connection = connections_.at(id);
    std::array<std::uint8_t, maximumCallSize> buffer;
    const auto received = unix_socket::receive(connection.socket.get(), buffer);
    if (std::holds_alternative<unix_socket::Ended>(received))
        return drop(id);
    if (const auto* bytes = std::get_if<unix_socket::Bytes>(&received))
        if (const auto answer = answerTo(connection.caller, *bytes))
            send(id, encode(*answer));
}

/// The same for exchanges. Whoever sends anything but a record is dropped, and so is whoever sends one before the reply
/// to the last: nobody can queue any number of late ones.
void HardwareServer::readRecord(int id) {
    auto& connection = connections_.at(id);
    SMCKeyData request;
    const auto received = unix_socket::receive(connection.socket.get(), bytesOf(request));
    if (std::holds_alternative<unix_socket::WouldBlock>(received))
        return;
    const auto* bytes = std::get_if<unix_socket::Bytes>(&received);
    if (bytes == nullptr || bytes->size() != sizeof request || connection.lateReply)
        return drop(id);
    const auto reply = handlers_.exchange(connection.caller, request);
    if (handlers_.exchangeDelay() > 0)
        connection.lateReply =
            loop_.scheduleTimer(handlers_.exchangeDelay(), false, [this, id, reply] { sendLateReply(id, reply); });
    else
        sendReply(id, reply);
}

void HardwareServer::sendReply(int id, const std::optional<SMCKeyData>& reply) {
    if (reply)
        send(id, bytesOf(*reply));
    else
        send(id, ControllerLink::failedExchange);
}

/// Takes a copy of the reply: the timer that has it ends here.
void HardwareServer::sendLateReply(int id, std::optional<SMCKeyData> reply) {
    connections_.at(id).lateReply.reset();
    sendReply(id, reply);
}

/// Anybody may.
void HardwareServer::readLook(int id) {
    std::array<std::uint8_t, LidLink::question.size()> question;
    const auto received = unix_socket::receive(connections_.at(id).socket.get(), question);
    if (std::holds_alternative<unix_socket::Ended>(received))
        return drop(id);
    if (std::holds_alternative<unix_socket::Bytes>(received))
        send(id, LidLink::encode(handlers_.lid()));
}

CallHandlers::Answer HardwareServer::answerTo(Caller& caller, std::span<const std::uint8_t> bytes) try {
    const auto call = decodeCall(bytes);
    if (!caller.isRoot && !std::holds_alternative<Show>(call)) // anybody may look
        return Refused{"Only whoever runs the simulated Mac can do that."};
    return handlers_.perform(caller, call);
} catch (const std::exception& error) { // not a valid call, or on an invalid key
    return Refused{std::string("That cannot be done: ") + error.what() + "."};
}

/// A client that does not read what it asked for is dropped with the next event on its socket.
void HardwareServer::send(int id, std::span<const std::uint8_t> message) {
    const auto found = connections_.find(id);
    if (found != connections_.end() &&
        unix_socket::send(found->second.socket.get(), message) != unix_socket::Sent::whole)
        shutdown(found->second.socket.get(), SHUT_RDWR);
}

void HardwareServer::drop(int id) {
    const auto connection = connections_.extract(id); // first: what follows may send
    handlers_.forget(connection.mapped().caller);
}

} // namespace kelo
