#pragma once

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <span>

#include "core/queue/MainQueue.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/posix/FileDescriptor.h"
#include "simulator/server/CallHandlers.h"

namespace kelo {

/// The simulated Mac as a process: takes calls from the helper, and from programs that drive the Mac, over a socket in
/// its folder, and exchanges with the controller and looks at the lid over others; checks who may make them, and sends
/// the answers. One thread.
class HardwareServer {
public:
    /// `loop` is borrowed. Listens in `folder`, an open descriptor. Throws `std::system_error`.
    HardwareServer(EventLoop& loop, int folder, const Profile& profile, double heatSpeed, double clockSpeed = 1);
    ~HardwareServer();

    /// Of what is taken for a call: several times the largest of ours.
    static constexpr std::size_t maximumCallSize = 4096;

    // However many strangers come, other users who are strangers find a place, and whoever runs the Mac above all.
    static constexpr std::ptrdiff_t maximumOfStranger = 16;  ///< Connections of one user.
    static constexpr std::ptrdiff_t maximumOfStrangers = 64; ///< Connections of them all.

private:
    using OnReadable = void (HardwareServer::*)(int id);

    /// A socket that clients connect to, and what is done when one of them has sent something.
    struct Door {
        FileDescriptor listening;
        OnReadable onReadable;
        std::unique_ptr<DescriptorWatch> accepting;
    };
    struct Connection {
        FileDescriptor socket;
        std::unique_ptr<DescriptorWatch> watch;
        uid_t user;
        Caller caller;
        std::unique_ptr<Timer> lateReply = nullptr; ///< Null while none is to come.
    };

    void watch(Door& door);
    void acceptNext(Door& door);
    void acceptAgain(Door& door);
    void consider(FileDescriptor socket, OnReadable onReadable);
    bool hasPlaceFor(uid_t user) const;
    void readCall(int id);
    /// None when there is nothing to answer at once.
    CallHandlers::Answer answerTo(Caller& caller, std::span<const std::uint8_t> bytes);
    void readRecord(int id);
    void readLook(int id);
    void sendReply(int id, const std::optional<SMCKeyData>& reply);
    void sendLateReply(int id, std::optional<SMCKeyData> reply);
    /// Does nothing when the connection has ended.
    void send(int id, std::span<const std::uint8_t> message);
    void drop(int id);

    EventLoop& loop_;
    CallHandlers handlers_;
    Door controller_;
    Door lid_;
    Door calls_;
    std::map<int, Connection> connections_; ///< By a number that is never reused.
    int nextConnection_ = 1;
};

} // namespace kelo
