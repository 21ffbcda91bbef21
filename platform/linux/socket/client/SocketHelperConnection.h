#pragma once

#include <memory>

#include "client/HelperConnection.h"
#include "platform/linux/socket/Message.h"
#include "platform/posix/FileDescriptor.h"
#include "protocol/RequestTable.h"

namespace kelo {

/// A client's connection over the service's socket.
class SocketHelperConnection : public HelperConnection {
public:
    /// Connects to the service in `folder`, an open descriptor. Throws `HelperUnreachable` when the service is not
    /// listening.
    explicit SocketHelperConnection(int folder);

    std::optional<Data> fetchSnapshot() override;
    std::optional<std::string> hold(double fraction, bool handsBackOnLidClose) override;
    std::optional<std::string> handBack() override;
    std::int64_t helperVersion() override;
    void standDown() override;

private:
    Message call(Request request, const Message& arguments = Message::array());

    FileDescriptor socket_;
    const std::unique_ptr<std::uint8_t[]> buffer_;
    std::uint64_t lastNumber_ = 0;
};

} // namespace kelo
