#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "platform/posix/FileDescriptor.h"
#include "simulator/link/HardwareCalls.h"

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

/// A connection to the simulated Mac: calls that wait for their answer. One thread.
class HardwareLink {
public:
    /// The simulated Mac's socket in its folder.
    static constexpr const char* socketName = "hardware.socket";
    static constexpr std::size_t maximumMessageSize = 1 << 20;

    /// Without a limit a simulated Mac that hangs would keep the helper from ever leaving.
    static constexpr std::chrono::seconds defaultTimeout{10};

    /// Null when no simulated Mac runs in `folder`, an open descriptor. Throws `MacHangs` when it accepts nobody within
    /// `timeout`, and `std::system_error` when there is no descriptor left.
    static std::unique_ptr<HardwareLink> connect(int folder, std::chrono::milliseconds timeout = defaultTimeout);

    /// How long a call waits for its answer, more than 0; `defaultTimeout` unless set.
    void setTimeout(std::chrono::milliseconds limit);

    /// Makes a call and waits for the answer. Throws `CallFailed` when the Mac refuses it; and `MacHasGone`,
    /// `MacHangs`, or `CallFailed` when it answers something else: every later call throws `MacHasGone` then.
    template <typename Call>
    typename Call::Answer call(const Call& call) {
        auto answer = answerTo(call);
        if (auto* expected = std::get_if<typename Call::Answer>(&answer))
            return std::move(*expected);
        socket_ = {};
        throw CallFailed("The simulated Mac answered something else.");
    }

    /// Says what has no answer. Whether it arrives is not known.
    void tell(const hardware_calls::AllowPowerChange& call);

    /// To be called when `socket()` is readable, after `RegisterForPower`. None when the Mac has gone, or says
    /// something else: nothing more will come.
    std::optional<hardware_calls::PowerAnnouncement> receiveAnnouncement();

    int socket() const { return socket_.get(); }

private:
    explicit HardwareLink(FileDescriptor socket) : socket_(std::move(socket)) {}

    hardware_calls::AnyAnswer answerTo(const hardware_calls::AnyCall& call);

    FileDescriptor socket_; ///< Invalid after a call that got no answer.
};

} // namespace kelo
