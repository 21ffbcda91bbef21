#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

#include "platform/posix/Containment.h"

namespace kelo {

/// Sends a client exactly one reply, whatever the answering code does: a transport takes a second one for that of
/// another request, or ends the connection, and a missing one leaves the client waiting. Any thread.
template <typename Answer>
class OneReply {
public:
    using Send = std::function<void(Answer)>;

    /// A callable that may be copied and called like the reply itself. The first call sends; a later one is reported
    /// and dropped. When the last copy is destroyed without a call, `fallback` is sent.
    /// Throws for lack of memory, and then leaves `send` as it was.
    static Send through(Send&& send, Answer fallback) {
        const std::shared_ptr<OneReply> reply(new OneReply(std::move(fallback)));
        Send guarded = [reply](Answer answer) { reply->give(std::move(answer)); };
        reply->send_ = std::move(send); // last, and it cannot fail
        return guarded;
    }

    OneReply(const OneReply&) = delete;
    OneReply& operator=(const OneReply&) = delete;

    ~OneReply() {
        if (isGiven_ || !send_)
            return;
        reportFault("a request", "it was dropped without a reply");
        contain("sending a reply", [this] { send_(fallback_); });
    }

private:
    explicit OneReply(Answer fallback) : fallback_(std::move(fallback)) {}

    void give(Answer answer) {
        if (isGiven_.exchange(true)) {
            reportFault("a request", "it was replied to twice");
            return;
        }
        send_(std::move(answer));
    }

    Send send_;
    const Answer fallback_;
    std::atomic<bool> isGiven_ = false;
};

} // namespace kelo
