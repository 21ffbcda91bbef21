#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "client/HelperConnection.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// A client's connection to the helper over the service's socket.
class SocketHelperConnection : public HelperConnection {
public:
    /// Connects to the service in `folder`, an open descriptor. Throws `HelperUnreachable` if the service is not
    /// listening.
    explicit SocketHelperConnection(int folder);

    void perform(const requests::AnyCall& call) override;

private:
    /// Sends a request and returns the bytes of its reply, which `buffer_` stores.
    std::span<const std::uint8_t> exchange(std::span<const std::uint8_t> request);

    FileDescriptor socket_;
    const std::unique_ptr<std::uint8_t[]> buffer_;
    std::uint64_t lastNumber_ = 0;
};

} // namespace kelo
