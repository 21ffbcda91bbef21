#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "helper/Listener.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/socket/server/AdmittedPeer.h"
#include "platform/posix/FileDescriptor.h"
#include "platform/posix/GuardedHelper.h"

namespace kelo {

/// The connection of one admitted client: reads requests, performs them on the exported object, and sends the replies.
///
/// Belongs to the listener's thread; a reply may be made on any thread and is sent on the listener's thread. Cuts off a
/// client that sends an invalid request, reuses a request number, leaves its replies unread or lets another process use
/// its socket. Still performs requests that a client sent before it disconnected, and drops their replies. Ends when
/// the admitted process ends, even if a child has inherited the socket. While four requests of a client are waiting for
/// replies, reads no more of its requests. So no request is refused, and one client cannot fill the main queue.
/// Requests that need no other thread are answered at once.
class SocketIncomingConnection : public IncomingConnection,
                                 public std::enable_shared_from_this<SocketIncomingConnection> {
public:
    /// `socket` is non-blocking and receives the sender of each message (SO_PASSCRED).
    SocketIncomingConnection(std::shared_ptr<EventLoop> loop, FileDescriptor socket, AdmittedPeer peer);
    ~SocketIncomingConnection() override;

    const AdmittedPeer& peer() const { return peer_; }

    /// Calls `handler` once, on the loop's thread, when the connection has ended and the invalidation handler has run.
    /// `handler` may release the connection.
    void onEnd(std::function<void()> handler) { onEnd_ = std::move(handler); }

    void exportObject(std::shared_ptr<KeloHelperProtocol> object) override;
    void setInvalidationHandler(std::function<void()> handler) override { onInvalidation_ = std::move(handler); }
    /// Ignores the handler, since a connection of this kind ends but is never interrupted.
    void setInterruptionHandler(std::function<void()>) override {}
    void resume() override;

    /// Ends the connection as if the client had disconnected. Does nothing after the end.
    void end();

private:
    static constexpr std::size_t maximumInFlight = 4; ///< The number of unanswered requests at which reading pauses.
    static constexpr std::size_t maximumUnread = 64;  ///< The maximum number of replies waiting for room in the socket.

    template <typename Step>
    void attempt(Step step);
    bool readRequest();
    void startWatchingProcess();
    void processEnded();
    bool handle(std::span<const std::uint8_t> bytes);
    void startReading();
    void deliver(std::vector<std::uint8_t> reply);
    void sendWaiting();

    std::shared_ptr<EventLoop> loop_;
    FileDescriptor socket_;
    const AdmittedPeer peer_;
    std::function<void()> onEnd_ = [] {};
    std::shared_ptr<GuardedHelper> object_;
    std::function<void()> onInvalidation_;
    std::unique_ptr<DescriptorWatch> reading_;
    std::unique_ptr<DescriptorWatch> processEnd_;
    std::unique_ptr<DescriptorWatch> writing_;
    std::deque<std::vector<std::uint8_t>> unread_; ///< Replies that wait for room in the socket.
    bool hasClientLeft_ = false; ///< The client reads no more replies, but its requests may be pending.
    std::size_t inFlight_ = 0;
    std::optional<std::uint64_t> lastNumber_;
};

} // namespace kelo
