#pragma once

#include <memory>
#include <optional>

#include "platform/linux/socket/Message.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// A connection to the simulated Mac: calls that wait for their answer. One thread.
class HardwareLink {
public:
    /// The simulated Mac's socket in its folder.
    static constexpr const char* socketName = "hardware.socket";
    static constexpr std::size_t maximumMessageSize = 1 << 20;

    /// Null when no simulated Mac runs in `folder`, an open descriptor.
    static std::unique_ptr<HardwareLink> connect(int folder);

    /// Makes a call and waits for the answer. None when the simulated Mac has gone or takes longer than any hardware;
    /// the link is of no use then.
    std::optional<Message> call(const Message& request);

    /// Seconds that a call waits for its answer; 10 unless set.
    void setPatience(int seconds);

    /// Says something that has no answer.
    void tell(const Message& message);

    int socket() const { return socket_.get(); }

private:
    explicit HardwareLink(FileDescriptor socket) : socket_(std::move(socket)) {}

    FileDescriptor socket_;
};

} // namespace kelo
