#pragma once

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

/// A connection to the simulated Mac: calls that wait for their answer. One thread.
class HardwareLink {
public:
    /// The simulated Mac's socket in its folder.
    static constexpr const char* socketName = "hardware.socket";
    static constexpr std::size_t maximumMessageSize = 1 << 20;

    /// Null when no simulated Mac runs in `folder`, an open descriptor.
    static std::unique_ptr<HardwareLink> connect(int folder);

    /// Timeout in seconds for the answer to a call; 10 unless set.
    void setTimeout(int seconds);

    /// Makes a call and waits for the answer. Throws `CallFailed` when the Mac refuses it; and when it has gone, takes
    /// longer than the timeout or answers something else: every later call fails then.
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
