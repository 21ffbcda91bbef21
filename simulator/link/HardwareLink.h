#pragma once

#include <memory>
#include <stdexcept>
#include <utility>

#include "platform/posix/FileDescriptor.h"
#include "simulator/link/HardwareCalls.h"

namespace kelo {

/// A call failed. `what()` is one sentence with the reason.
class CallFailed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The Mac refused the call and has changed nothing.
class CallRefused : public CallFailed {
public:
    using CallFailed::CallFailed;
};

/// A connection that drives the simulated Mac with blocking calls. Single-threaded.
class HardwareLink {
public:
    /// The socket for calls in the simulated Mac's folder.
    static constexpr const char* socketName = "calls.socket";

    /// Connects to the simulated Mac in `folder`, an open descriptor. Returns nullptr if no Mac runs there or it does
    /// not accept the connection.
    static std::unique_ptr<HardwareLink> connect(int folder);

    /// Makes a call and waits up to 90 s for the answer, since a Mac that goes to sleep may wait for its clients twice,
    /// 30 s each time. Throws `CallRefused`; `CallFailed` if the Mac has stopped, does not answer or sends an
    /// unexpected answer; and `std::invalid_argument` if the answer cannot be decoded.
    template <typename Call>
    typename Call::Answer call(const Call& call) {
        auto answer = answerTo(call);
        if (auto* expected = std::get_if<typename Call::Answer>(&answer))
            return std::move(*expected);
        throw CallFailed("The simulated Mac sent an unexpected answer.");
    }

private:
    static constexpr std::size_t maximumAnswerSize = 1 << 20;

    explicit HardwareLink(FileDescriptor socket) : socket_(std::move(socket)) {}

    hardware_calls::AnyAnswer answerTo(const hardware_calls::AnyCall& call);

    FileDescriptor socket_;
    /// Uninitialised, so that only the pages that receive data are touched.
    const std::unique_ptr<std::uint8_t[]> buffer_ = std::make_unique_for_overwrite<std::uint8_t[]>(maximumAnswerSize);
};

} // namespace kelo
