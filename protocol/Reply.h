#pragma once

#include <functional>
#include <type_traits>
#include <utility>

namespace kelo {

/// The reply to one request: to be called exactly once, from any thread. Copies are the same reply.
template <typename... Values>
class Reply {
public:
    using Send = std::function<void(Values...)>;

    template <typename Callable, typename = std::enable_if_t<std::is_convertible_v<Callable, Send>>>
    Reply(Callable send) : send_(std::move(send)) {} // NOLINT(google-explicit-constructor): whatever can be called
    /// `isWanted` returns whether the client still waits. Any thread.
    Reply(Send send, std::function<bool()> isWanted) : send_(std::move(send)), isWanted_(std::move(isWanted)) {}

    void operator()(Values... values) const { send_(std::move(values)...); }

    /// False once the client is known to have gone: work that was only for that client need not be started.
    bool isWanted() const { return !isWanted_ || isWanted_(); }

private:
    Send send_;
    std::function<bool()> isWanted_;
};

} // namespace kelo
