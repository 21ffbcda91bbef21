#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// A call could not be carried out. `what()` is one sentence that says why.
class CallFailed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The Mac is not there any more, or has hung up.
class MacHasGone : public CallFailed {
public:
    MacHasGone() : CallFailed("The simulated Mac has gone.") {}
};

/// The Mac is there and said nothing within the timeout.
class MacHangs : public CallFailed {
public:
    MacHangs() : CallFailed("The simulated Mac does not answer.") {}
};

/// A connection to one of the simulated Mac's sockets, over which whole messages go. One thread.
class MacConnection {
public:
    /// Without a limit a simulated Mac that hangs would keep the helper from ever leaving.
    static constexpr std::chrono::seconds defaultTimeout{10};

    /// None when nobody listens at `name` in `folder`, an open descriptor. Throws `MacHangs` when nobody is accepted
    /// there within `timeout`, and `std::system_error` when there is no descriptor left.
    static std::optional<MacConnection> connect(int folder, const char* name, std::chrono::milliseconds timeout);

    /// How long the Mac is waited for, more than 0; `defaultTimeout` unless set.
    void setTimeout(std::chrono::milliseconds limit);

    /// Sends a message and receives the next one into `buffer`. Throws `MacHasGone` or `MacHangs`, and `MacHasGone`
    /// ever after: a late answer would be taken for that of the next question.
    std::span<const std::uint8_t> ask(std::span<const std::uint8_t> question, std::span<std::uint8_t> buffer);

    /// Whether what is sent arrives is not known.
    void tell(std::span<const std::uint8_t> message);

    /// Receives the next message into `buffer`. Throws `MacHasGone` or `MacHangs`.
    std::span<const std::uint8_t> receive(std::span<std::uint8_t> buffer);

    /// Whatever is asked afterwards throws `MacHasGone`.
    void close() { socket_ = {}; }

    int socket() const { return socket_.get(); }

private:
    explicit MacConnection(FileDescriptor socket) : socket_(std::move(socket)) {}

    FileDescriptor socket_;
    std::chrono::milliseconds timeout_{}; ///< What the socket has been told.
};

} // namespace kelo
