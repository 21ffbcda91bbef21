#include <poll.h>
#include <sys/socket.h>

#include <thread>

#include "platform/linux/hardware/MacWire.h"
#include "platform/linux/hardware/SimulatedMacHardware.h"
#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"
#include "platform/linux/socket/UnixSocket.h"
#include "testing/MacUnderTest.h"
#include "testing/OpenSockets.h"
#include "tests/conformance/ClamshellConformance.h"
#include "tests/conformance/PowerNotificationsConformance.h"
#include "tests/conformance/SMCExchangeConformance.h"
#include "tests/platform/linux/conformance/LoopUnderTest.h"

namespace kelo {
namespace {

using mac_wire::bytesOf;
using mac_wire::PowerEvent;

class SimulatedMacExchangeHarness {
public:
    SMCExchange& exchange() { return hardware_; }
    void removeController() { mac_.remove(); }
    void failNextExchange() { mac_.drive(hardware_calls::FailExchange{1}); }
    int openConnections() { return static_cast<int>(openSockets(SocketEnd::clients, mac_wire::hardwareSocket).size()); }

private:
    MacUnderTest mac_;
    SimulatedMacHardware hardware_{mac_.folder()};
};

class SimulatedMacClamshellHarness {
public:
    Clamshell& clamshell() { return hardware_; }
    void setState(const ClamshellProperty& state) { mac_.drive(hardware_calls::SetLid{state}); }
    void removePowerDomain() { mac_.remove(); }

private:
    MacUnderTest mac_;
    SimulatedMacHardware hardware_{mac_.folder()};
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

    void send(PowerEvent event, std::intptr_t notificationID) {
        const mac_wire::PowerRecord record{event, notificationID};
        for (const auto& client : clients_)
            unix_socket::send(client.get(), bytesOf(record));
    }

    std::vector<std::intptr_t> allowed() {
        std::vector<std::intptr_t> ids;
        for (const auto& client : clients_)
            for (std::int64_t id = 0;
                 std::holds_alternative<unix_socket::Bytes>(unix_socket::receive(client.get(), bytesOf(id)));)
                ids.push_back(id);
        return ids;
    }

private:
    void acceptClients() {
        while (isReadable(listening_)) {
            clients_.push_back(unix_socket::accept(listening_.get()));
            const mac_wire::PowerRecord registered{PowerEvent::registered, 0};
            unix_socket::send(clients_.back().get(), bytesOf(registered));
        }
    }

    /// Waits; false at the end.
    static bool isReadable(const FileDescriptor& socket) {
        pollfd waiting{.fd = socket.get(), .events = POLLIN, .revents = 0};
        return poll(&waiting, 1, -1) == 1 && (waiting.revents & POLLHUP) == 0;
    }

    MacFolder folder_;
    FileDescriptor listening_ = unix_socket::listen(folder_.descriptor(), mac_wire::powerSocket);
    std::vector<FileDescriptor> clients_;
    std::thread thread_;
};

class SimulatedMacPowerHarness {
public:
    PowerNotifications& notifications() { return notifications_; }
    void removePowerDomain() { domain_.remove(); }
    void send(PowerMessage message, std::intptr_t notificationID) { domain_.send(eventOf(message), notificationID); }
    void sendOther() { domain_.send(PowerEvent::willPowerOn, 0); }
    void run() { under_.run(1); }
    std::vector<std::intptr_t> allowed() { return domain_.allowed(); }

private:
    static PowerEvent eventOf(PowerMessage message) {
        switch (message) {
        case PowerMessage::canSystemSleep:
            return PowerEvent::canSleep;
        case PowerMessage::systemWillSleep:
            return PowerEvent::willSleep;
        case PowerMessage::systemHasPoweredOn:
            break;
        }
        return PowerEvent::hasPoweredOn;
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
