#include "platform/linux/socket/server/SocketListener.h"

#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

#include "platform/linux/socket/UnixSocket.h"
#include "platform/linux/socket/server/SocketIncomingConnection.h"

namespace kelo {
namespace {

constexpr double listenPause = 1.0; // seconds until the socket is tried again
constexpr double acceptPause = 0.1; // seconds to wait when the system has no room for another connection

} // namespace

SocketListener::SocketListener(int folder, std::string name, PeerCheck checkPeer,
                               std::function<void(const std::string&)> onRefusal)
    : folder_(folder), name_(std::move(name)), checkPeer_(std::move(checkPeer)), onRefusal_(std::move(onRefusal)),
      loop_(std::make_shared<EventLoop>()) {}

SocketListener::~SocketListener() { stop(); }

void SocketListener::resume() {
    openEndpoint();
    thread_ = std::thread([this] {
        loop_->run();
        threadEnd_.set_value();
    });
}

/// A folder that is full or may not be written for the moment is no reason for the helper to end.
void SocketListener::openEndpoint() {
    try {
        listening_ = unix_socket::listen(folder_, name_);
        startAccepting();
    } catch (const std::system_error& error) {
        onRefusal_(std::string("Cannot listen: ") + error.what());
        loop_->postAfter(listenPause, [this] { openEndpoint(); });
    }
}

bool SocketListener::stopsWithin(std::chrono::milliseconds patience) {
    if (!thread_.joinable())
        return true;
    loop_->stop();
    if (threadEnded_.wait_for(patience) != std::future_status::ready)
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
    for (const auto& connection : std::exchange(connections_, {}))
        connection->end();
}

/// One connection for each readiness, so that those who leave are noticed between those who come.
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

/// Tried until it works: without it nobody would be let in until the helper is started anew.
void SocketListener::startAccepting() {
    try {
        accepting_ = loop_->watch(listening_.get(), EventLoop::Readiness::readable, [this] { acceptNext(); });
    } catch (const std::exception&) {
        loop_->postAfter(acceptPause, [this] { startAccepting(); });
    }
}

/// First the signature, then the admission; whoever fails either is dropped without a word.
void SocketListener::consider(FileDescriptor socket) {
    if (!requirement_ || admission_ == nullptr)
        return onRefusal_("A peer is cut off: nobody is to be trusted.");
    if (connections_.size() >= maximumConnections)
        return onRefusal_("A peer is cut off: there are too many connections.");
    if (const auto reason = checkPeer_(socket.get(), *requirement_))
        return onRefusal_(*reason);
    auto connection = std::make_shared<SocketIncomingConnection>(loop_, std::move(socket));
    connection->onEnd([this, weak = std::weak_ptr(connection)] { connections_.erase(weak.lock()); });
    if (admission_->shouldAcceptNewConnection(*connection))
        connections_.insert(std::move(connection));
}

} // namespace kelo
