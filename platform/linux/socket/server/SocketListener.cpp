#include "platform/linux/socket/server/SocketListener.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

#include "platform/linux/socket/UnixSocket.h"
#include "platform/linux/socket/server/SocketIncomingConnection.h"

namespace kelo {
namespace {

constexpr double listenPause = 1.0; // seconds until the socket is tried again
constexpr double acceptPause = 0.1; // seconds to wait when the system has no resources for another connection

} // namespace

SocketListener::SocketListener(int folder, std::string name, PeerCheck checkPeer,
                               std::function<void(const std::string&)> onRefusal, const ConnectionLimits& limits)
    : folder_(folder), name_(std::move(name)), checkPeer_(std::move(checkPeer)), limits_(limits),
      loop_(std::make_shared<EventLoop>()), refusals_(*loop_, std::move(onRefusal)),
      files_(*loop_, InotifyFileEvents::Urgency::ordinary) {}

SocketListener::~SocketListener() { stop(); }

bool SocketListener::resume() {
    const bool isListening = openEndpoint();
    try {
        thread_ = std::thread([this] {
            loop_->run();
            threadEnd_.set_value();
        });
    } catch (const std::system_error& error) {
        refusals_.add(std::string("Cannot listen: ") + error.what());
        return false;
    }
    return isListening;
}

/// A folder that is full or not writable at the moment is not a reason for the helper to end.
bool SocketListener::openEndpoint() {
    // First: the number of a socket that is closed may come back at once, for something else.
    watching_.reset();
    accepting_.reset();
    try {
        listening_ = unix_socket::listen(folder_, name_);
        watching_ = files_.watch(unix_socket::pathOf(folder_, name_), [this] { socketChanged(); });
        startAccepting();
        loop_->post([this] { socketChanged(); }); // it may have been deleted before it was watched
        return true;
    } catch (const std::system_error& error) {
        refusals_.add(std::string("Cannot listen: ") + error.what());
        loop_->postAfter(listenPause, [this] { openEndpoint(); });
        return false;
    }
}

/// A socket that somebody deleted is made anew. One in the place of ours is left alone: whoever made it serves there.
void SocketListener::socketChanged() {
    const bool isThere = faccessat(folder_, name_.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
    if (!isThere)
        openEndpoint();
}

bool SocketListener::stopsWithin(std::chrono::milliseconds timeout) {
    if (!thread_.joinable())
        return true;
    loop_->stop();
    if (threadEnded_.wait_for(timeout) != std::future_status::ready)
        return false;
    stop();
    return true;
}

void SocketListener::stop() {
    if (!thread_.joinable())
        return;
    loop_->stop();
    thread_.join();
    accepting_.reset();
    watching_.reset();
    for (const auto& connection : std::exchange(connections_, {}))
        connection->end();
}

/// One connection per readiness event, so that disconnections are noticed between new connections.
void SocketListener::acceptNext() {
    auto socket = unix_socket::accept(listening_.get());
    if (socket.isValid())
        return consider(std::move(socket));
    if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        // The waiting connection stays ready; without a pause the loop would spin on it.
        accepting_.reset();
        loop_->postAfter(acceptPause, [this] { startAccepting(); });
    }
}

/// Retried until it works: otherwise no client would be accepted until the helper is restarted.
void SocketListener::startAccepting() {
    try {
        accepting_ = loop_->watch(listening_.get(), EventLoop::Readiness::readable, [this] { acceptNext(); });
    } catch (const std::exception&) {
        loop_->postAfter(acceptPause, [this] { startAccepting(); });
    }
}

/// First the limits, then the signature, then the admission; a peer that fails one is dropped without a reply.
void SocketListener::consider(FileDescriptor socket) {
    auto peer = AdmittedPeer::of(socket.get());
    if (const auto reason = reasonToRefuse(socket.get(), peer))
        return refusals_.add(*reason);
    auto connection = std::make_shared<SocketIncomingConnection>(loop_, std::move(socket), std::move(*peer));
    connection->onEnd([this, weak = std::weak_ptr(connection)] { connections_.erase(weak.lock()); });
    if (admission_(*connection))
        connections_.insert(std::move(connection));
}

std::optional<std::string> SocketListener::reasonToRefuse(int socket, const std::optional<AdmittedPeer>& peer) const {
    if (!requirement_ || !admission_)
        return "A peer is cut off: there is no one to trust.";
    if (!peer)
        return "A peer is cut off: it has already gone.";
    if (!hasRoomFor(*peer))
        return "A peer is cut off: there are too many connections.";
    return checkPeer_(socket, *requirement_);
}

bool SocketListener::hasRoomFor(const AdmittedPeer& newPeer) const {
    const auto count = [this](auto isCounted) {
        return std::count_if(connections_.begin(), connections_.end(),
                             [&](const auto& connection) { return isCounted(connection->peer()); });
    };
    const auto isOfOther = [](const AdmittedPeer& any) { return any.user() != geteuid(); };
    return std::ssize(connections_) < limits_.total &&
           count([&](const auto& any) { return any.process() == newPeer.process(); }) < limits_.ofProcess &&
           count([&](const auto& any) { return any.user() == newPeer.user(); }) < limits_.ofUser &&
           (!isOfOther(newPeer) || count(isOfOther) < limits_.ofOthers);
}

} // namespace kelo
