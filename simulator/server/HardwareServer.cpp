#include "simulator/server/HardwareServer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <exception>
#include <string>
#include <utility>

#include "platform/linux/socket/UnixSocket.h"
#include "simulator/link/HardwareLink.h"

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

/// Calls open to everyone: those that only look. The controller itself checks the right to write. Sleep waits for who
/// has registered for it, so that is not open.
bool isForAnybody(const AnyCall& call) {
    return std::holds_alternative<Exchange>(call) || std::holds_alternative<ReadClamshell>(call) ||
           std::holds_alternative<Show>(call);
}

} // namespace

HardwareServer::HardwareServer(EventLoop& loop, int folder, const Profile& profile, double heatSpeed, double clockSpeed)
    : loop_(loop), handlers_(loop, stopwatch(clockSpeed), profile, heatSpeed),
      listening_(unix_socket::listen(folder, HardwareLink::socketName)),
      accepting_(loop.watch(listening_.get(), EventLoop::Readiness::readable, [this] { acceptNext(); })) {}

HardwareServer::~HardwareServer() = default;

/// One connection for each readiness, so that those who leave are noticed, and calls answered, between those who come.
void HardwareServer::acceptNext() {
    auto socket = unix_socket::accept(listening_.get());
    if (socket.isValid())
        return consider(std::move(socket));
    if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        // The waiting connection stays ready; without a pause the loop would spin on it.
        accepting_.reset();
        loop_.postAfter(acceptPause, [this] { startAccepting(); });
    }
}

/// Tried until it works: without it nobody would be let in until the Mac is started anew.
void HardwareServer::startAccepting() {
    try {
        accepting_ = loop_.watch(listening_.get(), EventLoop::Readiness::readable, [this] { acceptNext(); });
    } catch (const std::exception&) {
        loop_.postAfter(acceptPause, [this] { startAccepting(); });
    }
}

/// Whoever finds no place is dropped without a word.
void HardwareServer::consider(FileDescriptor socket) {
    const auto user = userOf(socket.get());
    if (!user || !hasPlaceFor(*user))
        return;
    const int id = nextConnection_++;
    auto watch = loop_.watch(socket.get(), EventLoop::Readiness::readable, [this, id] { readCall(id); });
    Caller caller{isRoot(*user), [this, id](const AnyAnswer& answer) { send(id, answer); }};
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
    const auto received = unix_socket::receive(connection.socket.get(), maximumCallSize);
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
    auto connection = connections_.extract(id); // first: what follows may send
    handlers_.forget(connection.mapped().caller);
}

} // namespace kelo
