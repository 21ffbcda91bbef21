#include "simulator/model/SimulatedController.h"
#include "simulator/model/SimulatedExchange.h"
#include "tests/conformance/ClamshellConformance.h"
#include "tests/conformance/ClockConformance.h"
#include "tests/conformance/MainQueueConformance.h"
#include "tests/conformance/PowerNotificationsConformance.h"
#include "tests/conformance/SMCExchangeConformance.h"
#include "tests/conformance/SignalsConformance.h"
#include "tests/conformance/SigningInformationConformance.h"
#include "tests/support/ScriptedClamshell.h"
#include "tests/support/ScriptedPlatform.h"
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

class VirtualClockHarness {
public:
    Clock& clock() { return clock_; }

private:
    double now_ = 0;
    VirtualClock clock_{now_};
};

class ScriptedSignalsHarness {
public:
    Signals& signals() { return signals_; }
    void raise(int signal) { waiting_.push_back(signal); }
    void run() {
        for (const int signal : std::exchange(waiting_, {}))
            signals_.send(signal);
    }

private:
    ScriptedSignals signals_;
    std::vector<int> waiting_;
};

class ScriptedSigningInformationHarness {
public:
    SigningInformation& signingInformation() { return information_; }
    void sign(const std::optional<std::string>& team) { information_.team = team; }

private:
    ScriptedSigningInformation information_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, ClamshellConformance, ScriptedClamshellHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, ClockConformance, VirtualClockHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, SignalsConformance, ScriptedSignalsHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, SigningInformationConformance, ScriptedSigningInformationHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, MainQueueConformance, VirtualQueueHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, SMCExchangeConformance, SimulatedExchangeHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, PowerNotificationsConformance, ScriptedPowerHarness);

} // namespace
} // namespace kelo
