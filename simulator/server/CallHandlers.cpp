#include "simulator/server/CallHandlers.h"

#include <algorithm>
#include <type_traits>

namespace kelo {

using namespace hardware_calls;

namespace {

constexpr std::size_t shownWrites = 1000;

std::vector<FanState> fansOf(SimulatedMac& mac) {
    auto& controller = mac.controller();
    std::vector<FanState> fans;
    for (int i = 0; i < mac.fanCount(); ++i) {
        const auto number = [&](const char* suffix) {
            const auto key = "F" + std::to_string(i) + suffix;
            return controller.has(key) ? std::optional(controller.number(key)) : std::nullopt;
        };
        fans.push_back({.index = i,
                        .currentRPM = number("Ac"),
                        .minRPM = number("Mn"),
                        .maxRPM = number("Mx"),
                        .targetRPM = number("Tg"),
                        .isManual = number("Md").value_or(0) != 0});
    }
    return fans;
}

std::map<std::string, double> temperaturesOf(SimulatedController& controller) {
    std::map<std::string, double> temperatures;
    for (const auto& name : controller.names())
        if (name.front() == 'T')
            temperatures[name] = controller.number(name);
    return temperatures;
}

bool isWriteCarriedOut(const ExchangeRecord& record) {
    return record.request.data8 == static_cast<std::uint8_t>(SMCCommand::writeBytes) && record.reply &&
           record.reply->result == 0;
}

/// The newest successful writes, in order.
std::vector<Write> writesOf(const SimulatedController& controller) {
    std::vector<Write> writes;
    const auto& log = controller.log();
    for (auto record = log.rbegin(); record != log.rend() && writes.size() < shownWrites; ++record) {
        if (!isWriteCarriedOut(*record))
            continue;
        const auto& request = record->request;
        const auto size = std::min<std::size_t>(request.keyInfo.dataSize, sizeof request.bytes);
        writes.push_back({record->time, record->key(), {request.bytes, request.bytes + size}});
    }
    std::reverse(writes.begin(), writes.end());
    return writes;
}

} // namespace

CallHandlers::CallHandlers(MainQueue& queue, const std::function<double()>& now, const Profile& profile,
                           double heatSpeed)
    : now_(now), mac_(profile, now, heatSpeed), power_(queue, now),
      lid_(profile.hasLid ? ClamshellProperty(false) : ClamshellProperty()) {}

void CallHandlers::perform(const AnyCall& call, const Reply& reply) {
    std::visit(
        [&](const auto& made) {
            if constexpr (std::is_same_v<decltype(made), const Sleep&>) {
                startSleep(made, reply);
            } else if constexpr (std::is_void_v<decltype(handle(made))>) {
                handle(made);
                reply(Done{});
            } else {
                reply(handle(made));
            }
        },
        call);
}

AnyAnswer CallHandlers::handle(const Show&) {
    const auto* isClosed = std::get_if<bool>(&lid_);
    return MacState{.fans = fansOf(mac_),
                    .temperatures = temperaturesOf(mac_.controller()),
                    .lidClosed = isClosed != nullptr && *isClosed,
                    .asleep = power_.isAsleep(),
                    .powerClients = power_.clientCount(),
                    .load = mac_.load(),
                    .time = now_(),
                    .writes = writesOf(mac_.controller())};
}

AnyAnswer CallHandlers::handle(const SetLid& call) {
    const bool isMoved = std::holds_alternative<bool>(call.state);
    if (isMoved && std::holds_alternative<std::monostate>(lid_))
        return Refused{"This Mac has no lid."};
    lid_ = call.state;
    return Done{};
}

void CallHandlers::startSleep(const Sleep& call, const Reply& reply) {
    const auto cause = call.now ? RootPowerDomain::Cause::demand : RootPowerDomain::Cause::idleness;
    const bool begins = power_.sleep(cause, [this, reply](const RootPowerDomain::SleepReport& report) {
        reply(SleepReport{report.seconds, report.acknowledged, report.missing, fansOf(mac_)});
        mac_.setAsleep(true);
    });
    if (!begins)
        reply(Refused{"The Mac is asleep, or about to be."});
}

AnyAnswer CallHandlers::handle(const Wake&) {
    if (!power_.isAsleep())
        return Refused{"The Mac is awake."};
    mac_.setAsleep(false);
    power_.wake();
    return Done{};
}

void CallHandlers::handle(const SetKey& call) {
    if (call.value)
        mac_.pin(call.key, *call.value);
    else
        mac_.unpin(call.key);
}

AnyAnswer CallHandlers::handle(const Interfere& call) {
    if (call.fan < 0 || call.fan >= mac_.fanCount())
        return Refused{"This Mac has no such fan."};
    if (call.rpm)
        mac_.interfereWithSpeed(call.fan, *call.rpm);
    else
        mac_.interfereWithMode(call.fan, false);
    return Done{};
}

void CallHandlers::handle(const ClearFaults&) {
    mac_.controller().clearFaults();
    exchangeDelay_ = 0;
}

} // namespace kelo
