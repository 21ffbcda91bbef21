#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// Thrown if the helper cannot be reached, refuses the connection, or closes it before replying. `what()` is one
/// sentence.
class HelperUnreachable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A client's connection to the helper.
///
/// Used by one thread at a time. The helper counts the connection as one client until this object is destroyed or the
/// process ends.
class HelperConnection {
public:
    HelperConnection() = default;
    HelperConnection(const HelperConnection&) = delete;
    HelperConnection& operator=(const HelperConnection&) = delete;
    virtual ~HelperConnection() = default;

    /// Sends the request and waits for its answer. Throws `HelperUnreachable` when the connection is lost.
    template <typename Request>
    typename Request::Answer ask(const Request& request) {
        std::optional<typename Request::Answer> answer;
        perform(requests::Call{request, [&](auto given) { answer.emplace(std::move(given)); }});
        return std::move(answer).value();
    }

    /// Sends the request. When the answer has arrived, calls the reply once and returns. If there is no answer, throws
    /// `HelperUnreachable` and does not call the reply.
    virtual void perform(const requests::AnyCall& call) = 0;
};

/// Connects to the helper of this machine. Throws `HelperUnreachable` if that fails. If the helper refuses the
/// connection, the exception may come from the first request instead.
std::unique_ptr<HelperConnection> connectToHelper();

} // namespace kelo
