#include <cstring>

#include "platform/linux/hardware/MacWire.h"
#include "platform/linux/hardware/SimulatedMacHardware.h"
#include "platform/linux/hardware/SimulatedMacPowerNotifications.h"
#include "testing/MacUnderTest.h"
#include "testing/OpenSockets.h"
#include "testing/ScriptedMac.h"
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

/// Uses a scripted Mac, because the simulated Mac sends its messages in a fixed order.
class SimulatedMacPowerHarness : private PowerNotifications {
public:
    PowerNotifications& notifications() { return *this; }
    void removePowerDomain() {
        mac_.shutDown();
        isPresent_ = false;
    }
    void send(PowerMessage message, std::intptr_t notificationID) { sendRecord({eventOf(message), notificationID}); }
    void sendOther() { sendRecord({PowerEvent::willPowerOn, 0}); }
    void run() { under_.run(1); }
    std::vector<std::intptr_t> allowed() {
        std::vector<std::intptr_t> ids;
        while (mac_.hasMessage()) {
            const auto bytes = mac_.receive();
            std::int64_t id = 0;
            EXPECT_EQ(bytes.size(), sizeof id);
            std::memcpy(&id, bytes.data(), sizeof id);
            ids.push_back(id);
        }
        return ids;
    }

private:
    std::unique_ptr<PowerRegistration> registerForSystemPower(PowerHandler onMessage) override {
        const auto work = [&] { return notifications_.registerForSystemPower(std::move(onMessage)); };
        return isPresent_ ? mac_.during(wire({PowerEvent::registered, 0}), work) : work();
    }
    static ScriptedMac::Bytes wire(const mac_wire::PowerRecord& record) {
        const auto bytes = bytesOf(record);
        return {bytes.begin(), bytes.end()};
    }
    void sendRecord(const mac_wire::PowerRecord& record) {
        if (mac_.hasClient())
            mac_.send(wire(record));
    }
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

    ScriptedMac mac_{mac_wire::powerSocket};
    bool isPresent_ = true;
    LoopUnderTest under_;
    SimulatedMacPowerNotifications notifications_{mac_.folder(), under_.loop};
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, SMCExchangeConformance, SimulatedMacExchangeHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(Linux, ClamshellConformance, SimulatedMacClamshellHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(Linux, PowerNotificationsConformance, SimulatedMacPowerHarness);

} // namespace
} // namespace kelo
