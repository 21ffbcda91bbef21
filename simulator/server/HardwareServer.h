#pragma once

#include <map>
#include <memory>
#include <optional>
#include <span>

#include "platform/linux/loop/EventLoop.h"
#include "platform/posix/FileDescriptor.h"
#include "simulator/server/CallHandlers.h"

namespace kelo {

/// The simulated Mac as a process: serves the helper on the two sockets of `mac_wire`, and the programs that drive the
/// Mac on the socket of `HardwareLink`. The folder's permissions decide who may connect. Single-threaded.
class HardwareServer {
public:
    /// `loop` is borrowed. Listens in `folder`, an open descriptor. Throws `std::system_error`.
    HardwareServer(EventLoop& loop, int folder, const Profile& profile, double heatSpeed, double clockSpeed = 1);

private:
    using Message = std::span<const std::uint8_t>;

    /// A listening socket and the handler of its clients' messages.
    struct Door {
        FileDescriptor listening;
        void (HardwareServer::*onMessage)(int id, Message message);
        std::unique_ptr<DescriptorWatch> accepting = nullptr;
    };
    struct Connection {
        FileDescriptor socket;
        std::unique_ptr<DescriptorWatch> watch;
        std::optional<int> powerClient = std::nullopt; ///< Client number at the root power domain.
    };

    void accept(const Door& door);
    void receive(int id, const Door& door);
    void performCall(int id, Message message);
    void answerQuestion(int id, Message message);
    void allowPowerChange(int id, Message message);
    void registerForPower(int id);
    void sendReply(int id, const std::optional<SMCKeyData>& reply);
    /// Sends a message, unless the connection has ended.
    void send(int id, Message message);
    void drop(int id);

    EventLoop& loop_;
    CallHandlers handlers_;
    Door hardware_;
    Door power_;
    Door calls_;
    std::map<int, Connection> connections_; ///< Keyed by a number that is never reused.
    int nextConnection_ = 1;
};

} // namespace kelo
