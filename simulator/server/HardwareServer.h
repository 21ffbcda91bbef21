#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/hold/Clamshell.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/socket/Message.h"
#include "platform/posix/FileDescriptor.h"
#include "simulator/model/RootPowerDomain.h"
#include "simulator/model/SimulatedMac.h"

namespace kelo {

/// The simulated Mac as a process: serves its hardware, its power domain and its lid to the helper, and whoever drives
/// it, over a socket in its folder. One thread.
///
/// Each call is a map with the member "call"; its answer a map, with the member "error", a sentence, when it cannot be
/// done.
class HardwareServer {
public:
    /// `loop` is borrowed. Listens in `folder`, an open descriptor. Throws `std::system_error`.
    HardwareServer(EventLoop& loop, int folder, const Profile& profile, double heatSpeed);
    ~HardwareServer();

private:
    struct Client;
    using Answer = std::function<void(const Message&)>;
    struct Call {
        void (HardwareServer::*handler)(Client&, const Message& call, const Answer& answer);
        bool isForRoot;
    };

    /// The calls by name.
    static const std::map<std::string, Call>& handlers();

    void acceptWaiting();
    void readCall(int id);
    void drop(int id);
    void send(Client& client, const Message& message);

    // What the helper calls.
    void exchange(Client& client, const Message& call, const Answer& answer);
    void clamshell(Client& client, const Message& call, const Answer& answer);
    void registerPower(Client& client, const Message& call, const Answer& answer);
    void allowPowerChange(Client& client, const Message& call, const Answer& answer);

    // What drives the Mac.
    void show(Client& client, const Message& call, const Answer& answer);
    void lid(Client& client, const Message& call, const Answer& answer);
    void sleep(Client& client, const Message& call, const Answer& answer);
    void wake(Client& client, const Message& call, const Answer& answer);
    void load(Client& client, const Message& call, const Answer& answer);
    void set(Client& client, const Message& call, const Answer& answer);
    void interfere(Client& client, const Message& call, const Answer& answer);
    void fault(Client& client, const Message& call, const Answer& answer);

    Message fans();
    Message temperatures();
    Message writes();
    Message clamshellValue() const;

    EventLoop& loop_;
    double startTime_;
    SimulatedMac mac_;
    RootPowerDomain power_;
    ClamshellProperty lid_;
    double replyDelay_ = 0; ///< Seconds by which each exchange is answered late.
    FileDescriptor listening_;
    std::unique_ptr<DescriptorWatch> accepting_;
    std::map<int, std::unique_ptr<Client>> clients_;
    int nextClient_ = 1;
};

} // namespace kelo
