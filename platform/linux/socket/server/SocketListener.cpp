#include "platform/linux/socket/server/SocketListener.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/linux/socket/UnixSocket.h"
#include "platform/linux/socket/server/SocketIncomingConnection.h"
#include "platform/posix/Containment.h"

namespace kelo {
namespace {

constexpr double listenPause = 1.0; // seconds between attempts to listen
constexpr double acceptPause = 0.1; // seconds to wait when the system has no resources for another connection

} // namespace

/// An event loop on a separate thread.
struct SocketListener::Worker {
    /// Starts the thread, unless it is running. Throws `std::system_error` if the thread cannot be created.
    void start() {
        if (!thread.joinable())
            thread = std::thread([this] {
                loop->run();
                end.set_value();
            });
    }
    bool stopsBy(std::chrono::steady_clock::time_point deadline) {
        if (thread.joinable())
            loop->stop();
        return !thread.joinable() || ended.wait_until(deadline) == std::future_status::ready;
    }
    void join() {
        if (!thread.joinable())
            return;
        loop->stop();
        thread.join();
    }

    const std::shared_ptr<EventLoop> loop = std::make_shared<EventLoop>();
    std::thread thread;
    std::promise<void> end;
    std::future<void> ended = end.get_future();
};

/// A peer that has connected and is being checked.
struct SocketListener::Candidate {
    FileDescriptor socket;
    AdmittedPeer peer;
    std::optional<std::string> reason = "A peer is cut off: it could not be checked.";
};

SocketListener::SocketListener(MainQueue& main, int folder, std::string name, PeerCheck checkPeer,
                               ListenerReports reports, const ConnectionLimits& limits)
    : main_(main), folder_(folder), name_(std::move(name)), checkPeer_(std::move(checkPeer)), limits_(limits),
      reports_(std::move(reports)), serving_(std::make_unique<Worker>()), loop_(serving_->loop),
      refusals_(*loop_, reports_.onRefusal), files_(*loop_, InotifyFileEvents::Urgency::ordinary) {}

SocketListener::~SocketListener() { stop(); }

bool SocketListener::resume() {
    const bool isListening = openEndpoint();
    return startServing() && isListening;
}

bool SocketListener::startServing() {
    nextTry_.reset();
    try {
        serving_->start();
    } catch (const std::system_error& error) {
        reportTrouble(std::string("there is no thread to serve them: ") + error.what());
        nextTry_ = main_.scheduleTimer(listenPause, false, [this] { startServing(); });
        return false;
    }
    return true;
}

void SocketListener::reportTrouble(const std::string& reason) {
    if (!std::exchange(isInTrouble_, true))
        reports_.onTrouble(reason);
}

/// Retries after a failure, since a lack of space or of write permission in the folder may be temporary.
bool SocketListener::openEndpoint() {
    // Destroys the watches first, since the descriptor numbers of closed sockets may be reused at once.
    watching_.reset();
    accepting_.reset();
    try {
        listening_ = unix_socket::listen(folder_, name_);
        watching_ = files_.watch(unix_socket::pathOf(folder_, name_), [this] { socketChanged(); });
        startAccepting();
        loop_->post([this] { socketChanged(); }); // the socket may have been deleted before it was watched
        return true;
    } catch (const std::system_error& error) {
        reportTrouble(std::string("there is no socket: ") + error.what());
        loop_->postAfter(listenPause, [this] { openEndpoint(); });
        return false;
    }
}

/// Recreates a deleted socket. Does not touch a socket that has replaced ours, since another process serves it.
void SocketListener::socketChanged() {
    const bool isThere = faccessat(folder_, name_.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
    if (!isThere)
        openEndpoint();
    else if (std::exchange(isInTrouble_, false))
        reports_.onRecovery();
}

bool SocketListener::stopsWithin(std::chrono::milliseconds timeout) {
    nextTry_.reset();
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    if (!serving_->stopsBy(deadline) || (checking_ && !checking_->stopsBy(deadline)))
        return false;
    stop();
    return true;
}

void SocketListener::stop() {
    nextTry_.reset();
    serving_->join();
    if (checking_)
        checking_->join();
    accepting_.reset();
    watching_.reset();
    for (const auto& connection : std::exchange(connections_, {}))
        connection->end();
}

/// Accepts one connection per readiness event, so that disconnections are noticed between new connections.
void SocketListener::acceptNext() {
    auto socket = unix_socket::accept(listening_.get());
    if (socket.isValid())
        return consider(std::move(socket));
    if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        // The pending connection keeps the listener readable; without a pause the loop would spin on it.
        accepting_.reset();
        loop_->postAfter(acceptPause, [this] { startAccepting(); });
    }
}

/// Retries until it succeeds: otherwise no client would be accepted until the helper is restarted.
void SocketListener::startAccepting() {
    accepting_.reset(); // first: destroying the old watch later would end the new one
    try {
        accepting_ = loop_->watch(listening_.get(), EventLoop::Readiness::readable, [this] { acceptNext(); });
    } catch (const std::exception&) {
        loop_->postAfter(acceptPause, [this] { startAccepting(); });
    }
}

/// Checks the limits, then the signature, then the admission. Drops a peer without a reply if it fails one of these
/// checks. While one peer is being checked, the next ones wait in the kernel's backlog.
void SocketListener::consider(FileDescriptor socket) {
    auto peer = AdmittedPeer::of(socket.get());
    if (const auto reason = reasonToRefuse(peer))
        return refusals_.add(*reason);
    try { // started for the first peer: a helper without clients does not need it
        if (!checking_)
            checking_ = std::make_unique<Worker>();
        checking_->start();
    } catch (const std::system_error& error) {
        return refusals_.add(std::string("A peer is cut off: there is no thread to check it: ") + error.what() + ".");
    }
    const auto candidate = std::make_shared<Candidate>(Candidate{std::move(socket), std::move(*peer)});
    accepting_.reset();
    checking_->loop->post([this, candidate] { check(candidate); });
}

void SocketListener::check(const std::shared_ptr<Candidate>& candidate) {
    contain("the check of a peer", [&] { candidate->reason = checkPeer_(candidate->socket.get(), *requirement_); });
    loop_->post([this, candidate] {
        startAccepting();
        admit(*candidate);
    });
}

void SocketListener::admit(Candidate& candidate) {
    if (candidate.reason)
        return refusals_.add(*candidate.reason);
    auto connection =
        std::make_shared<SocketIncomingConnection>(loop_, std::move(candidate.socket), std::move(candidate.peer));
    connection->onEnd([this, weak = std::weak_ptr(connection)] { connections_.erase(weak.lock()); });
    if (admission_(*connection))
        connections_.insert(std::move(connection));
}

std::optional<std::string> SocketListener::reasonToRefuse(const std::optional<AdmittedPeer>& peer) const {
    if (!requirement_ || !admission_)
        return "A peer is cut off: no requirement or admission is set.";
    if (!peer)
        return "A peer is cut off: it has already gone.";
    if (!hasRoomFor(*peer))
        return "A peer is cut off: there are too many connections.";
    return std::nullopt;
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
