#pragma once

#include <functional>
#include <optional>

#include "core/hold/Clamshell.h"
#include "simulator/link/HardwareCalls.h"
#include "simulator/model/RootPowerDomain.h"
#include "simulator/model/SimulatedMac.h"

namespace kelo {

class MainQueue;

/// Whoever makes calls on the simulated Mac.
struct Caller {
    bool isRoot;
    /// Says something other than an immediate answer. Is copied, and may be called when the caller has gone.
    std::function<void(const hardware_calls::AnyAnswer&)> send;
    /// The handlers' own: the caller's number at the root power domain.
    std::optional<int> powerClient = std::nullopt;
};

/// The simulated Mac's hardware, its power domain and its lid, and what each call does to them. One thread, `queue`'s.
class CallHandlers {
public:
    /// None when it comes later, or never, which holds for `AllowPowerChange` alone.
    using Answer = std::optional<hardware_calls::AnyAnswer>;

    /// `queue` is borrowed. `now` returns seconds and never goes back.
    CallHandlers(MainQueue& queue, const std::function<double()>& now, const Profile& profile, double heatSpeed);

    /// Carries a call out. Throws `std::invalid_argument`, a clause that says why, for an invalid key.
    Answer perform(Caller& caller, const hardware_calls::AnyCall& call);

    /// An exchange with the controller. None when it fails at the platform's level.
    std::optional<SMCKeyData> exchange(const Caller& caller, const SMCKeyData& request) {
        return mac_.exchange(request, caller.isRoot);
    }
    const ClamshellProperty& lid() const { return lid_; }
    /// Seconds by which each exchange is to be answered late; the caller's business.
    double exchangeDelay() const { return exchangeDelay_; }

    /// To be called when the caller disconnects: its acknowledgements are no longer awaited.
    void forget(const Caller& caller);

private:
    Answer handle(Caller& caller, const hardware_calls::RegisterForPower& call);
    Answer handle(Caller& caller, const hardware_calls::AllowPowerChange& call);
    Answer handle(Caller& caller, const hardware_calls::Show& call);
    Answer handle(Caller& caller, const hardware_calls::SetLid& call);
    Answer handle(Caller& caller, const hardware_calls::Sleep& call);
    Answer handle(Caller& caller, const hardware_calls::Wake& call);
    Answer handle(Caller& caller, const hardware_calls::SetLoad& call);
    Answer handle(Caller& caller, const hardware_calls::SetKey& call);
    Answer handle(Caller& caller, const hardware_calls::Interfere& call);
    Answer handle(Caller& caller, const hardware_calls::FailExchange& call);
    Answer handle(Caller& caller, const hardware_calls::AnswerWith& call);
    Answer handle(Caller& caller, const hardware_calls::ReportSize& call);
    Answer handle(Caller& caller, const hardware_calls::ReportType& call);
    Answer handle(Caller& caller, const hardware_calls::RemoveKey& call);
    Answer handle(Caller& caller, const hardware_calls::AnswerSlowly& call);
    Answer handle(Caller& caller, const hardware_calls::ClearFaults& call);

    const std::function<double()> now_;
    SimulatedMac mac_;
    RootPowerDomain power_;
    ClamshellProperty lid_;
    double exchangeDelay_ = 0;
};

} // namespace kelo
