#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "simulator/link/HardwareCalls.h"
#include "simulator/link/MacConnection.h"

namespace kelo {

/// A connection to the simulated Mac: calls that wait for their answer. One thread.
class HardwareLink {
public:
    /// The simulated Mac's socket in its folder.
    static constexpr const char* socketName = "hardware.socket";
    static constexpr std::size_t maximumMessageSize = 1 << 20;

    /// Null when no simulated Mac runs in `folder`, an open descriptor. Throws as `MacConnection::connect`.
    static std::unique_ptr<HardwareLink> connect(int folder,
                                                 std::chrono::milliseconds timeout = MacConnection::defaultTimeout);

    /// How long a call waits for its answer.
    void setTimeout(std::chrono::milliseconds limit) { connection_.setTimeout(limit); }

    /// Makes a call and waits for the answer. Throws `CallFailed` when the Mac refuses it; and `MacHasGone`,
    /// `MacHangs`, or `CallFailed` when it answers something else: every later call throws `MacHasGone` then.
    template <typename Call>
    typename Call::Answer call(const Call& call) {
        auto answer = answerTo(call);
        if (auto* expected = std::get_if<typename Call::Answer>(&answer))
            return std::move(*expected);
        connection_.close();
        throw CallFailed("The simulated Mac answered something else.");
    }

    /// Says what has no answer. Whether it arrives is not known.
    void tell(const hardware_calls::AllowPowerChange& call);

    /// To be called when `socket()` is readable, after `RegisterForPower`. None when the Mac has gone, or says
    /// something else: nothing more will come.
    std::optional<hardware_calls::PowerAnnouncement> receiveAnnouncement();

    int socket() const { return connection_.socket(); }

private:
    explicit HardwareLink(MacConnection connection) : connection_(std::move(connection)) {}

    hardware_calls::AnyAnswer answerTo(const hardware_calls::AnyCall& call);
    std::span<std::uint8_t> buffer() { return {buffer_.get(), maximumMessageSize}; }

    MacConnection connection_;
    /// Not filled with zeros: of so large a buffer only what is received is ever touched.
    const std::unique_ptr<std::uint8_t[]> buffer_ = std::make_unique_for_overwrite<std::uint8_t[]>(maximumMessageSize);
};

} // namespace kelo
