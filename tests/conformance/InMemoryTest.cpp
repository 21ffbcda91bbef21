#include "simulator/model/SimulatedController.h"
#include "simulator/model/SimulatedExchange.h"
#include "tests/conformance/ClamshellConformance.h"
#include "tests/conformance/MainQueueConformance.h"
#include "tests/conformance/PowerNotificationsConformance.h"
#include "tests/conformance/SMCExchangeConformance.h"
#include "tests/support/ScriptedClamshell.h"
#include "tests/support/ScriptedPower.h"
#include "tests/support/VirtualQueue.h"

namespace kelo {
namespace {

// What stands in for an operating system in the unit tests promises what the real ones promise.

class VirtualQueueHarness {
public:
    static constexpr double unit = 1;
    MainQueue& queue() { return queue_; }
    void run(double seconds) { queue_.runFor(seconds); }
    void block(double seconds) { now_ += seconds; }

private:
    double now_ = 0;
    VirtualQueue queue_{now_};
};

class SimulatedExchangeHarness {
public:
    SimulatedExchangeHarness() {
        controller_.defineNumber("FNum", smc_type::ui8, 2);
        controller_.defineNumber("F0Md", smc_type::ui8, 0);
    }
    SMCExchange& exchange() { return exchange_; }
    void removeController() { exchange_.isPresent = false; }
    void failNextExchange() { controller_.failExchange(1); }
    int openConnections() { return exchange_.openConnections(); }

private:
    SimulatedController controller_;
    SimulatedExchange exchange_{controller_};
};

class ScriptedPowerHarness {
public:
    PowerNotifications& notifications() { return power_; }
    void removePowerDomain() { power_.isPresent = false; }
    void send(PowerMessage message, std::intptr_t notificationID) { waiting_.emplace_back(message, notificationID); }
    void sendOther() {} // there is none
    void run() {
        for (const auto& [message, notificationID] : std::exchange(waiting_, {}))
            power_.send(message, notificationID);
    }
    std::vector<std::intptr_t> allowed() { return power_.allowed(); }

private:
    ScriptedPower power_;
    std::vector<std::pair<PowerMessage, std::intptr_t>> waiting_;
};

class ScriptedClamshellHarness {
public:
    Clamshell& clamshell() { return clamshell_; }
    void setState(const ClamshellProperty& state) { clamshell_.state = state; }
    void removePowerDomain() { clamshell_.state = {}; }

private:
    ScriptedClamshell clamshell_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, ClamshellConformance, ScriptedClamshellHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, MainQueueConformance, VirtualQueueHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, SMCExchangeConformance, SimulatedExchangeHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, PowerNotificationsConformance, ScriptedPowerHarness);

} // namespace
} // namespace kelo
