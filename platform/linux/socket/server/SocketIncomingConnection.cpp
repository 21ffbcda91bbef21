#include "platform/linux/socket/server/SocketIncomingConnection.h"

#include <array>
#include <exception>
#include <utility>

#include "platform/linux/socket/RequestRecords.h"
#include "platform/linux/socket/UnixSocket.h"
#include "platform/posix/Containment.h"

namespace kelo {

SocketIncomingConnection::SocketIncomingConnection(std::shared_ptr<EventLoop> loop, FileDescriptor socket,
                                                   AdmittedPeer peer)
    : loop_(std::move(loop)), socket_(std::move(socket)), peer_(std::move(peer)) {}

SocketIncomingConnection::~SocketIncomingConnection() = default;

void SocketIncomingConnection::exportObject(std::shared_ptr<KeloHelperProtocol> object) {
    object_ = std::make_shared<GuardedHelper>(std::move(object));
}

/// Runs `step`. If the system has run out of resources, cuts the client off later, since the caller may not have stored
/// the connection yet.
template <typename Step>
void SocketIncomingConnection::attempt(Step step) {
    try {
        (this->*step)();
    } catch (const std::exception& error) {
        reportFault("a connection", error.what());
        loop_->post([weak = weak_from_this()] {
            if (const auto connection = weak.lock())
                connection->end();
        });
    }
}

void SocketIncomingConnection::resume() {
    attempt(&SocketIncomingConnection::startReading);
    attempt(&SocketIncomingConnection::startWatchingProcess);
}

void SocketIncomingConnection::startReading() {
    reading_ = loop_->watch(socket_.get(), EventLoop::Readiness::readable, [weak = weak_from_this()] {
        if (const auto connection = weak.lock())
            connection->attempt(&SocketIncomingConnection::readRequest);
    });
}

void SocketIncomingConnection::startWatchingProcess() {
    processEnd_ = loop_->watch(peer_.pidfd(), EventLoop::Readiness::readable, [weak = weak_from_this()] {
        if (const auto connection = weak.lock())
            connection->attempt(&SocketIncomingConnection::processEnded);
    });
}

/// Still serves requests that the process sent before it ended, unless too many are in flight.
void SocketIncomingConnection::processEnded() {
    while (reading_ && readRequest()) {
    }
    end();
}

/// Reads one message per readiness event, so that a busy client does not keep the others waiting. Returns whether the
/// message was a request. Ends the connection if the message is anything but a request from the admitted peer.
bool SocketIncomingConnection::readRequest() {
    pid_t sender = 0;
    std::array<std::uint8_t, request_records::requestSize> buffer;
    const auto received = unix_socket::receive(socket_.get(), buffer, sender);
    if (std::holds_alternative<unix_socket::WouldBlock>(received))
        return false;
    const auto* bytes = std::get_if<unix_socket::Bytes>(&received);
    if (bytes != nullptr && peer_.hasSent(sender) && handle(*bytes))
        return true;
    end();
    return false;
}

/// Returns false if the message is not a request, or if its number is not larger than that of the last request.
bool SocketIncomingConnection::handle(std::span<const std::uint8_t> bytes) {
    const auto incoming = request_records::decode(bytes);
    if (!incoming || (lastNumber_ && incoming->number <= *lastNumber_))
        return false;
    lastNumber_ = incoming->number;
    if (++inFlight_ >= maximumInFlight)
        reading_.reset();
    const auto send = [loop = loop_, weak = weak_from_this()](std::vector<std::uint8_t> reply) {
        auto deliver = [weak, reply = std::move(reply)]() mutable {
            if (const auto connection = weak.lock())
                connection->deliver(std::move(reply));
        };
        if (loop->isCurrent())
            deliver();
        else
            loop->post(std::move(deliver));
    };
    const auto object = object_; // an immediate reply may end the connection
    std::visit(
        [&](const auto& request) {
            object->perform(requests::Call{request, [number = incoming->number, send](const auto& answer) {
                                               send(request_records::encodeAnswer(number, answer));
                                           }});
        },
        incoming->request);
    return true;
}

void SocketIncomingConnection::deliver(std::vector<std::uint8_t> reply) {
    if (!socket_.isValid())
        return; // the connection has ended
    --inFlight_;
    if (!reading_)
        attempt(&SocketIncomingConnection::startReading);
    if (hasClientLeft_)
        return;
    unread_.push_back(std::move(reply));
    attempt(&SocketIncomingConnection::sendWaiting);
    if (unread_.size() > maximumUnread)
        end();
}

void SocketIncomingConnection::sendWaiting() {
    while (!unread_.empty()) {
        const auto sent = unix_socket::send(socket_.get(), unread_.front());
        if (sent == unix_socket::Sent::failed) {
            hasClientLeft_ = true;
            unread_.clear();
            break;
        }
        if (sent == unix_socket::Sent::wouldBlock)
            break;
        unread_.pop_front();
    }
    if (unread_.empty()) {
        writing_.reset();
    } else if (!writing_) {
        writing_ = loop_->watch(socket_.get(), EventLoop::Readiness::writable, [weak = weak_from_this()] {
            if (const auto connection = weak.lock())
                connection->attempt(&SocketIncomingConnection::sendWaiting);
        });
    }
}

void SocketIncomingConnection::end() {
    if (!socket_.isValid())
        return;
    const auto alive = shared_from_this(); // `onEnd_` may release this connection
    reading_.reset();
    processEnd_.reset();
    writing_.reset();
    unread_.clear();
    socket_ = {};
    object_.reset();
    if (const auto onInvalidation = std::exchange(onInvalidation_, nullptr))
        onInvalidation();
    onEnd_();
}

} // namespace kelo
