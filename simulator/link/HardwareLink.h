#pragma once

#include <memory>
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

/// The Mac refused the call and has changed nothing.
class CallRefused : public CallFailed {
public:
    using CallFailed::CallFailed;
};

/// A connection that drives the simulated Mac: calls that wait for their answer. One thread.
class HardwareLink {
public:
    /// The socket for calls in the simulated Mac's folder.
    static constexpr const char* socketName = "calls.socket";

    /// nullptr when no simulated Mac runs in `folder`, an open descriptor, or it does not accept the connection.
    static std::unique_ptr<HardwareLink> connect(int folder);

    /// Makes a call and waits for the answer, for up to 90 s: a Mac that goes to sleep waits twice 30 s for its
    /// clients. Throws `CallRefused`; `CallFailed` when the Mac has gone, does not answer or answers something else;
    /// and `std::invalid_argument` when the answer cannot be decoded.
    template <typename Call>
    typename Call::Answer call(const Call& call) {
        auto answer = answerTo(call);
        if (auto* expected = std::get_if<typename Call::Answer>(&answer))
            return std::move(*expected);
        throw CallFailed("The simulated Mac answered something else.");
    }

private:
    static constexpr std::size_t maximumAnswerSize = 1 << 20;

    explicit HardwareLink(FileDescriptor socket) : socket_(std::move(socket)) {}

    hardware_calls::AnyAnswer answerTo(const hardware_calls::AnyCall& call);

    FileDescriptor socket_;
    /// Uninitialised: only what is received is ever touched.
    const std::unique_ptr<std::uint8_t[]> buffer_ = std::make_unique_for_overwrite<std::uint8_t[]>(maximumAnswerSize);
};

} // namespace kelo
