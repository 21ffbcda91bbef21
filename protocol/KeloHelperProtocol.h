#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

namespace kelo {

/// Bytes that are not text.
using Data = std::vector<std::uint8_t>;

/// The requests that the helper serves. Each is a value: its members are the arguments, `Answer` is the type of its one
/// reply, and `selector` is its name in Objective-C, whose own declaration a test compares with these.
///
/// A new request is a struct here and an entry in `Any`. Everything that has to handle it does not compile until it
/// does.
namespace requests {

/// The answer of a request that only confirms.
struct Nothing {
    bool operator==(const Nothing&) const = default;
};

struct WithoutArguments {
    std::tuple<> arguments() const { return {}; }
};

struct FetchSnapshot : WithoutArguments {
    /// The JSON of a `FanSnapshot`, or none when no snapshot could be made.
    using Answer = std::optional<Data>;
    static constexpr const char* selector = "fetchSnapshotWithReply:";
};

/// Holds every fan at `fraction` of its speed range (clamped into 0...1), replacing the running hold, if any.
struct Hold {
    /// None for success, else an error text for the owner of the Mac.
    using Answer = std::optional<std::string>;
    static constexpr const char* selector = "holdWithFraction:handsBackOnLidClose:reply:";

    double fraction = 0;
    bool handsBackOnLidClose = false; ///< Hands the fans back while the lid is closed.

    /// In the order of the selector.
    std::tuple<double, bool> arguments() const { return {fraction, handsBackOnLidClose}; }
};

/// Ends any hold and returns the fans to automatic control.
struct HandBack : WithoutArguments {
    /// Always none.
    using Answer = std::optional<std::string>;
    static constexpr const char* selector = "handBackWithReply:";
};

/// Never waits for the main thread.
struct HelperVersion : WithoutArguments {
    /// `KeloHelper::interfaceVersion`.
    using Answer = std::int64_t;
    static constexpr const char* selector = "helperVersionWithReply:";
};

/// Hands the fans back and ends the helper, after the reply.
struct StandDown : WithoutArguments {
    using Answer = Nothing;
    static constexpr const char* selector = "standDownWithReply:";
};

/// In the protocol's order. A new request goes to the end: a request's position is its number on Linux's socket.
using Any = std::variant<FetchSnapshot, Hold, HandBack, HelperVersion, StandDown>;

/// To be called exactly once, from any thread. Copies are the same reply.
template <typename Request>
using ReplyTo = std::function<void(typename Request::Answer)>;

/// A request with its reply.
template <typename Request>
struct Call {
    Request request;
    ReplyTo<Request> reply;
};
template <typename Request, typename Reply>
Call(Request, Reply) -> Call<Request>;

template <typename>
struct CallsOf;
template <typename... Requests>
struct CallsOf<std::variant<Requests...>> {
    using Type = std::variant<Call<Requests>...>;
};
using AnyCall = CallsOf<Any>::Type;

/// A visitor made of one callable for each alternative.
template <typename... Callables>
struct Overloaded : Callables... {
    using Callables::operator()...;
};
template <typename... Callables>
Overloaded(Callables...) -> Overloaded<Callables...>;

} // namespace requests

/// Serves requests.
class KeloHelperProtocol {
public:
    KeloHelperProtocol() = default;
    KeloHelperProtocol(const KeloHelperProtocol&) = delete;
    KeloHelperProtocol& operator=(const KeloHelperProtocol&) = delete;
    virtual ~KeloHelperProtocol() = default;

    /// May be called from any thread and returns at once. The reply is called exactly once, from any thread. A failure
    /// is part of the reply; nothing is thrown.
    virtual void perform(requests::AnyCall call) = 0;
};

} // namespace kelo
