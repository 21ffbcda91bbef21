#include <poll.h>

#include <map>
#include <sys/socket.h>

#include <thread>

#include "platform/linux/hardware/SimulatedMacClamshell.h"
#include "platform/linux/hardware/SimulatedMacExchange.h"
#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"
#include "platform/linux/socket/UnixSocket.h"
#include "simulator/link/HardwareLink.h"
#include "tests/conformance/ClamshellConformance.h"
#include "tests/conformance/PowerNotificationsConformance.h"
#include "tests/conformance/SMCExchangeConformance.h"
#include "tests/platform/linux/conformance/LoopUnderTest.h"
#include "tests/support/MacUnderTest.h"
#include "tests/support/OpenSockets.h"

namespace kelo {
namespace {

class SimulatedMacExchangeHarness {
public:
    SMCExchange& exchange() { return exchange_; }
    void removeController() { mac_.remove(); }
    void failNextExchange() { mac_.drive({{"call", "fault"}, {"kind", "fail"}, {"n", 1}}); }
    int openConnections() { return static_cast<int>(openSockets(SocketEnd::clients, HardwareLink::socketName).size()); }

private:
    MacUnderTest mac_;
    SimulatedMacExchange exchange_{mac_.folder()};
};

class SimulatedMacClamshellHarness {
public:
    Clamshell& clamshell() { return clamshell_; }
    void setState(const ClamshellProperty& state) { mac_.drive({{"call", "lid"}, {"state", value(state)}}); }
    void removePowerDomain() { mac_.remove(); }

private:
    static Message value(const ClamshellProperty& state) {
        if (const auto* isClosed = std::get_if<bool>(&state))
            return *isClosed ? "close" : "open";
        if (const auto* number = std::get_if<double>(&state))
            return *number;
        return std::holds_alternative<UnconvertibleProperty>(state) ? Message("text") : Message();
    }

    MacUnderTest mac_;
    SimulatedMacClamshell clamshell_{mac_.folder()};
};

/// The root power domain's end of the socket, which says whatever the test wants said: the simulated Mac's own follows
/// an order.
class ScriptedPowerDomain {
public:
    ScriptedPowerDomain() : thread_([this] { acceptClients(); }) {}
    ~ScriptedPowerDomain() { remove(); }

    int folder() const { return folder_.descriptor(); }

    void remove() {
        shutdown(listening_.get(), SHUT_RDWR);
        if (thread_.joinable())
            thread_.join();
        listening_ = {};
    }

    void send(std::uint32_t messageType, std::intptr_t argument) {
        for (const auto& client : clients_)
            unix_socket::send(client.get(), encodeMessage({{"power", messageType}, {"id", argument}}));
    }

    std::vector<std::intptr_t> allowed() {
        std::vector<std::intptr_t> ids;
        for (const auto& client : clients_)
            while (const auto call = receive(client)) {
                EXPECT_EQ(call->at("call"), "allowPowerChange");
                ids.push_back(call->at("id").get<std::intptr_t>());
            }
        return ids;
    }

private:
    void acceptClients() {
        while (isReadable(listening_)) {
            FileDescriptor client = unix_socket::accept(listening_.get());
            const auto call = isReadable(client) ? receive(client) : std::nullopt;
            clients_.push_back(std::move(client)); // the answer tells the test's thread that it is there
            EXPECT_EQ(call, Message({{"call", "registerPower"}}));
            unix_socket::send(clients_.back().get(), encodeMessage(Message::object()));
        }
    }

    /// Waits; false at the end.
    static bool isReadable(const FileDescriptor& socket) {
        pollfd waiting{.fd = socket.get(), .events = POLLIN, .revents = 0};
        return poll(&waiting, 1, -1) == 1 && (waiting.revents & POLLHUP) == 0;
    }

    /// What is there already.
    static std::optional<Message> receive(const FileDescriptor& socket) {
        const auto received = unix_socket::receive(socket.get(), HardwareLink::maximumMessageSize);
        const auto* bytes = std::get_if<std::vector<std::uint8_t>>(&received);
        return bytes != nullptr ? decodeMessage(*bytes) : std::nullopt;
    }

    MacFolder folder_;
    FileDescriptor listening_ = unix_socket::listen(folder_.descriptor(), HardwareLink::socketName);
    std::vector<FileDescriptor> clients_;
    std::thread thread_;
};

class SimulatedMacPowerHarness {
public:
    PowerNotifications& notifications() { return notifications_; }
    void removePowerDomain() { domain_.remove(); }
    void send(PowerMessage message, std::intptr_t notificationID) {
        static const std::map<PowerMessage, std::uint32_t> types = {{PowerMessage::canSystemSleep, 0xE0000270},
                                                                    {PowerMessage::systemWillSleep, 0xE0000280},
                                                                    {PowerMessage::systemHasPoweredOn, 0xE0000300}};
        domain_.send(types.at(message), notificationID);
    }
    void sendOther() { domain_.send(0xE0000320, 0); }
    void run() { under_.run(1); }
    std::vector<std::intptr_t> allowed() { return domain_.allowed(); }

private:
    ScriptedPowerDomain domain_;
    LoopUnderTest under_;
    SimulatedMacPowerNotifications notifications_{domain_.folder(), under_.loop};
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, SMCExchangeConformance, SimulatedMacExchangeHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(Linux, ClamshellConformance, SimulatedMacClamshellHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(Linux, PowerNotificationsConformance, SimulatedMacPowerHarness);

} // namespace
} // namespace kelo
