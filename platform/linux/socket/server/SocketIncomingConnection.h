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

/// One admitted client on a socket: reads requests, makes them on the exported object, sends the replies.
///
/// Lives on the listener's thread; replies may come from any thread and hop there. A client that sends anything but a
/// well-formed request, uses a number again, leaves its replies unread or lets another process use its socket is cut
/// off; others are not affected. Requests that a client sent before it left are still made, and their replies dropped.
/// The connection ends with the process that was admitted, although a child may have inherited the socket. While four
/// requests of a client wait for their replies, no further one is read: nothing is refused, and one client cannot fill
/// the main queue. A request that needs no other thread never waits.
class SocketIncomingConnection : public IncomingConnection,
                                 public std::enable_shared_from_this<SocketIncomingConnection> {
public:
    /// `socket` is non-blocking and receives the sender of each message (SO_PASSCRED).
    SocketIncomingConnection(std::shared_ptr<EventLoop> loop, FileDescriptor socket, AdmittedPeer peer);
    ~SocketIncomingConnection() override;

    const AdmittedPeer& peer() const { return peer_; }

    /// `handler` is called once, on the loop's thread, when the connection has ended, after the invalidation handler.
    /// May drop it.
    void onEnd(std::function<void()> handler) { onEnd_ = std::move(handler); }

    void exportObject(std::shared_ptr<KeloHelperProtocol> object) override;
    void setInvalidationHandler(std::function<void()> handler) override { onInvalidation_ = std::move(handler); }
    /// Never called: a connection of this kind is never interrupted without being at its end.
    void setInterruptionHandler(std::function<void()>) override {}
    void resume() override;

    /// Ends the connection as if the client had gone. Does nothing after its end.
    void end();

private:
    static constexpr std::size_t maximumInFlight = 4; ///< Requests without a reply, before reading pauses.
    static constexpr std::size_t maximumUnread = 64;  ///< Replies waiting for room in the socket, before the cut-off.

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
    bool hasClientLeft_ = false;                   ///< It reads no more replies, but may have left requests.
    std::size_t inFlight_ = 0;
    std::optional<std::uint64_t> lastNumber_;
};

} // namespace kelo
