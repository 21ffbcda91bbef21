#pragma once

#include <functional>
#include <optional>

#include "core/hold/Clamshell.h"
#include "simulator/link/HardwareCalls.h"
#include "simulator/model/RootPowerDomain.h"
#include "simulator/model/SimulatedMac.h"

namespace kelo {

class MainQueue;

/// The simulated Mac's hardware, power domain and lid, and a handler for each call. Runs on the thread of `queue`.
class CallHandlers {
public:
    using Reply = std::function<void(const hardware_calls::AnyAnswer&)>;

    /// `queue` is borrowed. `now` returns seconds and never goes back.
    CallHandlers(MainQueue& queue, const std::function<double()>& now, const Profile& profile, double heatSpeed);

    /// Performs a call and replies to it once. The reply to `Sleep` follows when the Mac is asleep. Throws
    /// `std::invalid_argument`, whose text is a clause with the reason, for an invalid key.
    void perform(const hardware_calls::AnyCall& call, const Reply& reply);

    /// Performs an exchange with the controller. Returns nullopt if it fails.
    std::optional<SMCKeyData> exchange(const SMCKeyData& request) { return mac_.exchange(request, true); }
    /// The number of seconds by which the caller must delay each reply to an exchange.
    double exchangeDelay() const { return exchangeDelay_; }
    const ClamshellProperty& lid() const { return lid_; }
    RootPowerDomain& power() { return power_; }

private:
    using AnyAnswer = hardware_calls::AnyAnswer;

    void startSleep(const hardware_calls::Sleep& call, const Reply& reply);
    // One handler for each call. Those that return void always succeed.
    AnyAnswer handle(const hardware_calls::Show& call);
    AnyAnswer handle(const hardware_calls::SetLid& call);
    AnyAnswer handle(const hardware_calls::Wake& call);
    AnyAnswer handle(const hardware_calls::Interfere& call);
    void handle(const hardware_calls::SetLoad& call) { mac_.setLoad(call.load); }
    void handle(const hardware_calls::SetKey& call);
    void handle(const hardware_calls::FailExchange& call) { mac_.controller().failExchange(call.n); }
    void handle(const hardware_calls::AnswerWith& call) {
        mac_.controller().answer(call.key, call.command, call.result);
    }
    void handle(const hardware_calls::ReportSize& call) { mac_.controller().reportSize(call.key, call.size); }
    void handle(const hardware_calls::ReportType& call) {
        mac_.controller().reportType(call.key, smcCode((call.type + "    ").c_str()));
    }
    void handle(const hardware_calls::RemoveKey& call) { mac_.controller().remove(call.key); }
    void handle(const hardware_calls::AnswerSlowly& call) { exchangeDelay_ = call.seconds; }
    void handle(const hardware_calls::ClearFaults& call);

    const std::function<double()> now_;
    SimulatedMac mac_;
    RootPowerDomain power_;
    ClamshellProperty lid_;
    double exchangeDelay_ = 0;
};

} // namespace kelo
