#include "simulator/server/HardwareServer.h"

#include <sys/socket.h>

#include <chrono>
#include <string>
#include <utility>

#include "platform/linux/socket/UnixSocket.h"
#include "simulator/link/HardwareLink.h"

namespace kelo {

using namespace hardware_calls;

namespace {

/// Returns the seconds that have passed since it was made.
std::function<double()> stopwatch() {
    using Clock = std::chrono::steady_clock;
    return [start = Clock::now()] { return std::chrono::duration<double>(Clock::now() - start).count(); };
}

/// Whoever runs the simulated Mac is its superuser, and the system's superuser is, too.
bool isPeerRoot(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return false;
    return peer.uid == 0 || peer.uid == geteuid();
}

/// Calls open to everyone. The controller itself checks the right to write.
bool isForAnybody(const AnyCall& call) {
    return std::holds_alternative<Exchange>(call) || std::holds_alternative<ReadClamshell>(call) ||
           std::holds_alternative<RegisterForPower>(call) || std::holds_alternative<AllowPowerChange>(call) ||
           std::holds_alternative<Show>(call);
}

} // namespace

HardwareServer::HardwareServer(EventLoop& loop, int folder, const Profile& profile, double heatSpeed)
    : loop_(loop), handlers_(loop, stopwatch(), profile, heatSpeed),
      listening_(unix_socket::listen(folder, HardwareLink::socketName)),
      accepting_(loop.watch(listening_.get(), EventLoop::Readiness::readable, [this] { acceptWaiting(); })) {}

HardwareServer::~HardwareServer() = default;

void HardwareServer::acceptWaiting() {
    for (auto socket = unix_socket::accept(listening_.get()); socket.isValid();
         socket = unix_socket::accept(listening_.get())) {
        const int id = nextConnection_++;
        auto watch = loop_.watch(socket.get(), EventLoop::Readiness::readable, [this, id] { readCall(id); });
        Caller caller{isPeerRoot(socket.get()), [this, id](const AnyAnswer& answer) { send(id, answer); }, {}};
        connections_.emplace(id, Connection{std::move(socket), std::move(watch), std::move(caller)});
    }
}

void HardwareServer::readCall(int id) {
    auto& connection = connections_.at(id);
    const auto received = unix_socket::receive(connection.socket.get(), HardwareLink::maximumMessageSize);
    if (std::holds_alternative<unix_socket::Ended>(received))
        return drop(id);
    if (const auto* bytes = std::get_if<std::vector<std::uint8_t>>(&received))
        if (const auto answer = answerTo(connection.caller, *bytes))
            send(id, *answer);
}

CallHandlers::Answer HardwareServer::answerTo(Caller& caller, const std::vector<std::uint8_t>& bytes) try {
    const auto call = decodeCall(bytes);
    if (!caller.isRoot && !isForAnybody(call))
        return Refused{"Only whoever runs the simulated Mac can do that."};
    return handlers_.perform(caller, call);
} catch (const std::exception& error) { // not a valid call, or on an invalid key
    return Refused{std::string("That cannot be done: ") + error.what() + "."};
}

/// A client that does not read what it asked for is dropped with the next event on its socket.
void HardwareServer::send(int id, const AnyAnswer& answer) {
    const auto found = connections_.find(id);
    if (found != connections_.end() &&
        unix_socket::send(found->second.socket.get(), encode(answer)) != unix_socket::Sent::whole)
        shutdown(found->second.socket.get(), SHUT_RDWR);
}

void HardwareServer::drop(int id) {
    const auto connection = connections_.extract(id); // first: what follows may send
    handlers_.forget(connection.mapped().caller);
}

} // namespace kelo
