#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

namespace kelo {

using Data = std::vector<std::uint8_t>;

/// The requests that the helper serves. A request's members are its arguments, `Answer` is the type of its single
/// reply, and `selector` is its Objective-C name; a test compares them with the Objective-C protocol.
///
/// To add a request, add a struct here and an entry in `Any`. Code that must handle every request then does not compile
/// until it handles the new one.
namespace requests {

/// The answer to a request that returns no value.
struct Nothing {
    bool operator==(const Nothing&) const = default;
};

struct WithoutArguments {
    std::tuple<> arguments() const { return {}; }
};

struct FetchSnapshot : WithoutArguments {
    /// The JSON of a `FanSnapshot`, or nullopt if no snapshot could be made.
    using Answer = std::optional<Data>;
    static constexpr const char* selector = "fetchSnapshotWithReply:";
};

/// Holds every fan at `fraction` of its speed range (clamped to 0...1), replacing the running hold, if any.
struct Hold {
    /// Nullopt on success, otherwise an error message for the owner of the Mac.
    using Answer = std::optional<std::string>;
    static constexpr const char* selector = "holdWithFraction:handsBackOnLidClose:reply:";

    double fraction;
    bool handsBackOnLidClose; ///< Hands the fans back while the lid is closed.

    /// The arguments in the order of the selector.
    std::tuple<double, bool> arguments() const { return {fraction, handsBackOnLidClose}; }
};

/// Ends any hold and returns the fans to automatic control.
struct HandBack : WithoutArguments {
    /// Always nullopt.
    using Answer = std::optional<std::string>;
    static constexpr const char* selector = "handBackWithReply:";
};

/// This request is answered without waiting for the main thread.
struct HelperVersion : WithoutArguments {
    /// `KeloHelper::interfaceVersion`.
    using Answer = std::int64_t;
    static constexpr const char* selector = "helperVersionWithReply:";
};

/// Replies, then hands the fans back and ends the helper.
struct StandDown : WithoutArguments {
    using Answer = Nothing;
    static constexpr const char* selector = "standDownWithReply:";
};

/// All requests in protocol order. Add new requests at the end: a request's index is its number on the Linux socket.
using Any = std::variant<FetchSnapshot, Hold, HandBack, HelperVersion, StandDown>;

/// A function that sends the reply. Call it exactly once, from any thread. All copies refer to the same reply.
template <typename Request>
using ReplyTo = std::function<void(typename Request::Answer)>;

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

/// A visitor with one callable for each alternative of a variant.
template <typename... Callables>
struct Overloaded : Callables... {
    using Callables::operator()...;
};
template <typename... Callables>
Overloaded(Callables...) -> Overloaded<Callables...>;

} // namespace requests

class KeloHelperProtocol {
public:
    KeloHelperProtocol() = default;
    KeloHelperProtocol(const KeloHelperProtocol&) = delete;
    KeloHelperProtocol& operator=(const KeloHelperProtocol&) = delete;
    virtual ~KeloHelperProtocol() = default;

    /// Performs the request. Returns at once. Any thread. Calls the reply exactly once, from any thread. Reports errors
    /// in the reply and never throws.
    virtual void perform(requests::AnyCall call) = 0;
};

} // namespace kelo
