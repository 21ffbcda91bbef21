#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

#include "platform/posix/Containment.h"

namespace kelo {

/// Sends a client exactly one reply, even if the service replies twice or never. After a second reply, a transport
/// would close the connection or treat it as the reply to another request. Without a reply, the client would wait
/// forever. Any thread.
template <typename Answer>
class OneReply {
public:
    using Send = std::function<void(Answer)>;

    /// Wraps `send` in a copyable callable. The first call sends the reply; later calls are reported as faults and
    /// dropped. If the last copy is destroyed before any call, sends `fallback`. If memory runs out, throws and leaves
    /// `send` unchanged.
    static Send through(Send&& send, Answer fallback) {
        const std::shared_ptr<OneReply> reply(new OneReply(std::move(fallback)));
        Send guarded = [reply](Answer answer) { reply->sendOnce(std::move(answer)); };
        reply->send_ = std::move(send); // last, so that nothing can throw after it
        return guarded;
    }

    OneReply(const OneReply&) = delete;
    OneReply& operator=(const OneReply&) = delete;

    ~OneReply() {
        if (isSent_ || !send_)
            return;
        reportFault("a request", "it was dropped without a reply");
        contain("sending a reply", [this] { send_(fallback_); });
    }

private:
    explicit OneReply(Answer fallback) : fallback_(std::move(fallback)) {}

    void sendOnce(Answer answer) {
        if (isSent_.exchange(true)) {
            reportFault("a request", "it was replied to twice");
            return;
        }
        send_(std::move(answer));
    }

    Send send_;
    const Answer fallback_;
    std::atomic<bool> isSent_ = false;
};

} // namespace kelo
