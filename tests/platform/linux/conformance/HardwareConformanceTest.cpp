#include <poll.h>
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
    void failNextExchange() { mac_.drive(hardware_calls::FailExchange{1}); }
    int openConnections() {
        return static_cast<int>(openSockets(SocketEnd::clients, ControllerLink::socketName).size());
    }

private:
    MacUnderTest mac_;
    SimulatedMacExchange exchange_{mac_.folder()};
};

class SimulatedMacClamshellHarness {
public:
    Clamshell& clamshell() { return clamshell_; }
    void setState(const ClamshellProperty& state) { mac_.drive(hardware_calls::SetLid{state}); }
    void removePowerDomain() { mac_.remove(); }

private:
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

    void send(hardware_calls::PowerEvent event, std::intptr_t notificationID) {
        for (const auto& client : clients_)
            unix_socket::send(client.get(), encode(hardware_calls::PowerAnnouncement{event, notificationID}));
    }

    std::vector<std::intptr_t> allowed() {
        std::vector<std::intptr_t> ids;
        for (const auto& client : clients_)
            while (const auto call = receive(client))
                ids.push_back(std::get<hardware_calls::AllowPowerChange>(*call).notificationID);
        return ids;
    }

private:
    void acceptClients() {
        while (isReadable(listening_)) {
            FileDescriptor client = unix_socket::accept(listening_.get());
            const auto call = isReadable(client) ? receive(client) : std::nullopt;
            clients_.push_back(std::move(client)); // the answer tells the test's thread that it is there
            EXPECT_TRUE(call && std::holds_alternative<hardware_calls::RegisterForPower>(*call));
            unix_socket::send(clients_.back().get(), encode(hardware_calls::Done{}));
        }
    }

    /// Waits; false at the end.
    static bool isReadable(const FileDescriptor& socket) {
        pollfd waiting{.fd = socket.get(), .events = POLLIN, .revents = 0};
        return poll(&waiting, 1, -1) == 1 && (waiting.revents & POLLHUP) == 0;
    }

    /// What is there already.
    static std::optional<hardware_calls::AnyCall> receive(const FileDescriptor& socket) {
        std::vector<std::uint8_t> buffer(HardwareLink::maximumMessageSize);
        const auto received = unix_socket::receive(socket.get(), buffer);
        const auto* bytes = std::get_if<unix_socket::Bytes>(&received);
        return bytes != nullptr ? std::optional(hardware_calls::decodeCall(*bytes)) : std::nullopt;
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
    void send(PowerMessage message, std::intptr_t notificationID) { domain_.send(eventOf(message), notificationID); }
    void sendOther() { domain_.send(hardware_calls::PowerEvent::willPowerOn, 0); }
    void run() { under_.run(1); }
    std::vector<std::intptr_t> allowed() { return domain_.allowed(); }

private:
    static hardware_calls::PowerEvent eventOf(PowerMessage message) {
        switch (message) {
        case PowerMessage::canSystemSleep:
            return hardware_calls::PowerEvent::canSleep;
        case PowerMessage::systemWillSleep:
            return hardware_calls::PowerEvent::willSleep;
        case PowerMessage::systemHasPoweredOn:
            break;
        }
        return hardware_calls::PowerEvent::hasPoweredOn;
    }

    ScriptedPowerDomain domain_;
    LoopUnderTest under_;
    SimulatedMacPowerNotifications notifications_{domain_.folder(), under_.loop};
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, SMCExchangeConformance, SimulatedMacExchangeHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(Linux, ClamshellConformance, SimulatedMacClamshellHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(Linux, PowerNotificationsConformance, SimulatedMacPowerHarness);

} // namespace
} // namespace kelo
