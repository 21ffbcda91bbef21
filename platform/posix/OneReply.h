#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <tuple>
#include <utility>

#include "platform/posix/Containment.h"

namespace kelo {

/// Sends a client exactly one reply, whatever the answering code does: a transport takes a second one for that of
/// another request, or ends the connection, and a missing one leaves the client waiting. Any thread.
template <typename... Values>
class OneReply {
public:
    using Send = std::function<void(Values...)>;

    /// A callable that may be copied and called like the reply itself. The first call sends; a later one is reported
    /// and dropped. When the last copy is destroyed without a call, `fallback` is sent.
    static Send through(Send send, Values... fallback) {
        const std::shared_ptr<OneReply> reply(new OneReply(std::move(send), std::move(fallback)...));
        return [reply](Values... values) { reply->give(std::move(values)...); };
    }

    OneReply(const OneReply&) = delete;
    OneReply& operator=(const OneReply&) = delete;

    ~OneReply() {
        if (isGiven_)
            return;
        reportFault("a request", "it was dropped without a reply");
        contain("sending a reply", [this] { std::apply(send_, fallback_); });
    }

private:
    explicit OneReply(Send send, Values... fallback) : send_(std::move(send)), fallback_(std::move(fallback)...) {}

    void give(Values... values) {
        if (isGiven_.exchange(true)) {
            reportFault("a request", "it was replied to twice");
            return;
        }
        send_(std::move(values)...);
    }

    const Send send_;
    const std::tuple<Values...> fallback_;
    std::atomic<bool> isGiven_ = false;
};

} // namespace kelo
