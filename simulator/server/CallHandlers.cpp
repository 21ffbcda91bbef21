#include "simulator/server/CallHandlers.h"

#include "simulator/server/MacViews.h"

namespace kelo {

using namespace hardware_calls;

namespace {

PowerEvent eventOf(RootPowerDomain::Announcement announcement) {
    switch (announcement) {
    case RootPowerDomain::Announcement::canSystemSleep:
        return PowerEvent::canSleep;
    case RootPowerDomain::Announcement::systemWillSleep:
        return PowerEvent::willSleep;
    case RootPowerDomain::Announcement::systemWillPowerOn:
        return PowerEvent::willPowerOn;
    case RootPowerDomain::Announcement::systemHasPoweredOn:
        break;
    }
    return PowerEvent::hasPoweredOn;
}

} // namespace

CallHandlers::CallHandlers(MainQueue& queue, const std::function<double()>& now, const Profile& profile,
                           double heatSpeed)
    : now_(now), mac_(profile, now, heatSpeed), power_(queue, now),
      lid_(profile.hasLid ? ClamshellProperty(false) : ClamshellProperty()) {}

CallHandlers::Answer CallHandlers::perform(Caller& caller, const AnyCall& call) {
    return std::visit([&](const auto& made) { return handle(caller, made); }, call);
}

void CallHandlers::forget(const Caller& caller) {
    if (caller.powerClient)
        power_.removeClient(*caller.powerClient);
}

// --- what the helper says

CallHandlers::Answer CallHandlers::handle(Caller& caller, const RegisterForPower&) {
    if (caller.powerClient)
        return Refused{"This connection is registered already."};
    caller.powerClient = power_.addClient([send = caller.send](auto announcement, std::int64_t notificationID) {
        send(PowerAnnouncement{eventOf(announcement), notificationID});
    });
    return Done{};
}

CallHandlers::Answer CallHandlers::handle(Caller& caller, const AllowPowerChange& call) {
    if (caller.powerClient)
        power_.acknowledge(*caller.powerClient, call.notificationID);
    return std::nullopt;
}

// --- what drives the Mac

CallHandlers::Answer CallHandlers::handle(Caller&, const Show&) {
    const auto* isClosed = std::get_if<bool>(&lid_);
    return MacState{.fans = mac_views::fans(mac_),
                    .temperatures = mac_views::temperatures(mac_),
                    .lidClosed = isClosed != nullptr && *isClosed,
                    .asleep = power_.isAsleep(),
                    .powerClients = power_.clientCount(),
                    .load = mac_.load(),
                    .time = now_(),
                    .writes = mac_views::writes(mac_)};
}

CallHandlers::Answer CallHandlers::handle(Caller&, const SetLid& call) {
    const bool isMoved = std::holds_alternative<bool>(call.state);
    if (isMoved && std::holds_alternative<std::monostate>(lid_))
        return Refused{"This Mac has no lid."};
    lid_ = call.state;
    return Done{};
}

CallHandlers::Answer CallHandlers::handle(Caller& caller, const Sleep& call) {
    const auto cause = call.now ? RootPowerDomain::Cause::demand : RootPowerDomain::Cause::idleness;
    const bool begins = power_.sleep(cause, [this, send = caller.send](const RootPowerDomain::SleepReport& report) {
        send(SleepReport{report.seconds, report.acknowledged, report.missing, mac_views::fans(mac_)});
        mac_.setAsleep(true);
    });
    return begins ? Answer() : Refused{"The Mac is asleep, or about to be."};
}

CallHandlers::Answer CallHandlers::handle(Caller&, const Wake&) {
    if (!power_.isAsleep())
        return Refused{"The Mac is awake."};
    mac_.setAsleep(false);
    power_.wake();
    return Done{};
}

CallHandlers::Answer CallHandlers::handle(Caller&, const SetLoad& call) {
    mac_.setLoad(call.load);
    return Done{};
}

CallHandlers::Answer CallHandlers::handle(Caller&, const SetKey& call) {
    if (call.value)
        mac_.pin(call.key, *call.value);
    else
        mac_.unpin(call.key);
    return Done{};
}

CallHandlers::Answer CallHandlers::handle(Caller&, const Interfere& call) {
    if (call.fan < 0 || call.fan >= mac_.fanCount())
        return Refused{"This Mac has no such fan."};
    if (call.rpm)
        mac_.interfereWithSpeed(call.fan, *call.rpm);
    else
        mac_.interfereWithMode(call.fan, false);
    return Done{};
}

// --- faults

CallHandlers::Answer CallHandlers::handle(Caller&, const FailExchange& call) {
    mac_.controller().failExchange(call.n);
    return Done{};
}

CallHandlers::Answer CallHandlers::handle(Caller&, const AnswerWith& call) {
    mac_.controller().answer(call.key, call.command, call.result);
    return Done{};
}

CallHandlers::Answer CallHandlers::handle(Caller&, const ReportSize& call) {
    mac_.controller().reportSize(call.key, call.size);
    return Done{};
}

CallHandlers::Answer CallHandlers::handle(Caller&, const ReportType& call) {
    mac_.controller().reportType(call.key, smcCode((call.type + "    ").c_str()));
    return Done{};
}

CallHandlers::Answer CallHandlers::handle(Caller&, const RemoveKey& call) {
    mac_.controller().remove(call.key);
    return Done{};
}

CallHandlers::Answer CallHandlers::handle(Caller&, const AnswerSlowly& call) {
    exchangeDelay_ = call.seconds;
    return Done{};
}

CallHandlers::Answer CallHandlers::handle(Caller&, const ClearFaults&) {
    mac_.controller().clearFaults();
    exchangeDelay_ = 0;
    return Done{};
}

} // namespace kelo
