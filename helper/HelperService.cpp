#include "helper/HelperService.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "core/fan/FanController.h"
#include "core/hold/FanHold.h"
#include "core/queue/MainQueue.h"
#include "protocol/FanSnapshot.h"
#include "protocol/KeloHelper.h"

namespace kelo {
namespace {

constexpr double standDownDelay = 0.3; // seconds for the reply to reach the client

std::shared_ptr<FanController> openController(const MachineParts& machine) {
    try {
        return std::make_shared<FanController>(machine.exchange, machine.clock, machine.rights);
    } catch (const FanError&) {
        return nullptr; // whatever the error, the service reports that there is no controllable fan
    }
}

/// The fastest fan; if several are equally fast, the first. `fans` is not empty.
const Fan& reportedFan(const std::vector<Fan>& fans) {
    return *std::max_element(fans.begin(), fans.end(),
                             [](const Fan& a, const Fan& b) { return a.currentRPM < b.currentRPM; });
}

} // namespace

HelperService::HelperService(ServiceDependencies dependencies)
    : dependencies_(std::move(dependencies)),
      controller_(openController(dependencies_.machine)), leaving_{[leave = dependencies_.leave] { leave(nullptr); }},
      power_(
          dependencies_.machine.power, [this] { systemWillSleep(); }, [this] { systemDidWake(); }) {
    if (!controller_) {
        dependencies_.log.error("No controllable fan on this Mac — the helper will refuse every request.");
        return;
    }
    try {
        power_.start();
    } catch (const std::exception&) {
        // The system has run out of a resource. Each new hold tries again.
    }
}

HelperService::~HelperService() = default;

void HelperService::perform(requests::AnyCall call) {
    using namespace requests;
    std::visit(Overloaded{
                   [this](Call<FetchSnapshot>& made) { fetchSnapshot(std::move(made.reply)); },
                   [this](Call<Hold>& made) {
                       hold(made.request.fraction, made.request.handsBackOnLidClose, std::move(made.reply));
                   },
                   [this](Call<HandBack>& made) { handBack(std::move(made.reply)); },
                   [this](Call<HelperVersion>& made) { helperVersion(made.reply); },
                   [this](Call<StandDown>& made) { standDown(made.reply); },
               },
               call);
}

void HelperService::helperVersion(const requests::ReplyTo<requests::HelperVersion>& reply) {
    reply(KeloHelper::interfaceVersion);
}

void HelperService::fetchSnapshot(requests::ReplyTo<requests::FetchSnapshot> reply) {
    dependencies_.machine.queue.post([weak = weak_from_this(), reply = std::move(reply)] {
        const auto service = weak.lock();
        if (!service || !service->controller_)
            return reply(std::nullopt);
        std::optional<Data> snapshot;
        try {
            snapshot = service->makeSnapshot();
        } catch (const std::exception&) {
            // One of the readings cannot be represented in JSON.
        }
        reply(std::move(snapshot));
    });
}

void HelperService::hold(double fraction, bool handsBackOnLidClose, requests::ReplyTo<requests::Hold> reply) {
    dependencies_.machine.queue.post(
        [weak = weak_from_this(), fraction, handsBackOnLidClose, reply = std::move(reply)] {
            const auto service = weak.lock();
            if (!service || !service->controller_)
                return reply(FanError::noFans().errorDescription());
            reply(service->startHold(fraction, handsBackOnLidClose));
        });
}

void HelperService::handBack(requests::ReplyTo<requests::HandBack> reply) {
    dependencies_.machine.queue.post([weak = weak_from_this(), reply = std::move(reply)] {
        if (const auto service = weak.lock())
            service->handFansBack();
        reply(std::nullopt);
    });
}

void HelperService::standDown(const requests::ReplyTo<requests::StandDown>& reply) {
    dependencies_.log.notice("A newer Kelo asked us to stand down.");
    try {
        reply({});
    } catch (...) { // NOLINT(bugprone-empty-catch): the client also notices that the connection ends
    }
    try {
        dependencies_.machine.queue.postAfter(standDownDelay, [leave = dependencies_.leave] { leave(nullptr); });
    } catch (...) { // out of memory: leaving too early is better than never
        if (!isLeaving_.test_and_set())
            dependencies_.machine.queue.postPrepared(std::move(leaving_));
    }
}

Data HelperService::makeSnapshot() const {
    const auto fans = controller_->fans();
    const auto warmth = controller_->warmth();
    const auto chipCelsius = controller_->chipTemperature();
    const auto fan = fans.empty() ? Fan{} : reportedFan(fans);
    const auto* hold = fans.empty() ? nullptr : session_.get(); // ignored without a usable fan
    const FanSnapshot snapshot{
        .fanCount = static_cast<std::int64_t>(fans.size()),
        .currentRPM = fan.currentRPM,
        .minRPM = fan.minRPM,
        .maxRPM = fan.maxRPM,
        .targetRPM = fan.targetRPM,
        .underKeloControl = std::any_of(fans.begin(), fans.end(), [](const Fan& any) { return any.isManual; }),
        .warmth = std::string(warmthText(warmth)),
        .chipCelsius = chipCelsius,
        .addingAir = hold && hold->isAddingAir(),
        .lidHasFan = hold && hold->isYieldedToLid(),
    };
    return snapshot.encoded();
}

/// Replaces the running hold. Returns nullopt on success. If the new hold cannot start, returns the reason; no hold is
/// then running.
std::optional<std::string> HelperService::startHold(double fraction, bool handsBackOnLidClose) {
    try {
        replaceHold(fraction, handsBackOnLidClose);
        return std::nullopt;
    } catch (const FanError& error) {
        return error.errorDescription();
    } catch (const std::exception& error) { // the system has run out of a resource
        return error.what();
    }
}

/// Replaces the running hold. If the new hold cannot start, hands the fans back and throws.
void HelperService::replaceHold(double fraction, bool handsBackOnLidClose) {
    stopHold();
    session_.reset();
    power_.start(); // does nothing unless an earlier start failed
    const auto hold = std::make_shared<FanHold>(controller_, fraction, handsBackOnLidClose, dependencies_.machine.queue,
                                                dependencies_.machine.clamshell);
    hold->onEvent = [weak = weak_from_this()](const FanHold::Event& event) {
        if (const auto service = weak.lock())
            service->dependencies_.log.notice("hold: " + event.description());
    };
    hold->onTick = dependencies_.onTick;
    try {
        hold->start(isSystemAsleep_);
    } catch (...) {
        // Hand back the fans taken before the failure, but do not log the end of a hold that never started.
        hold->onEvent = nullptr;
        hold->stop();
        throw;
    }
    session_ = hold;
}

void HelperService::stopHold() noexcept {
    if (session_)
        session_->stop();
}

void HelperService::handFansBack() noexcept {
    stopHold();
    session_.reset();
    if (controller_)
        controller_->restoreAuto(); // even without a hold: ends manual mode set by another program
}

void HelperService::systemWillSleep() {
    isSystemAsleep_ = true;
    if (session_)
        session_->systemWillSleep();
}

void HelperService::systemDidWake() {
    isSystemAsleep_ = false;
    if (session_)
        session_->systemDidWake();
}

void HelperService::clientArrived() {
    dependencies_.machine.queue.post([weak = weak_from_this()] {
        const auto service = weak.lock();
        if (!service)
            return;
        if (service->clients_ == std::numeric_limits<std::int64_t>::max())
            std::abort(); // a wrapped count would hand the fan back while clients are connected
        ++service->clients_;
        service->orphanTimer_.reset();
    });
}

void HelperService::clientWentAway() { dependencies_.machine.queue.post(departure()); }

std::function<void()> HelperService::departure() {
    return [weak = weak_from_this()] {
        if (const auto service = weak.lock())
            service->countDeparture();
    };
}

void HelperService::countDeparture() noexcept {
    clients_ = std::max<std::int64_t>(clients_ - 1, 0);
    if (clients_ > 0 || !session_)
        return;
    dependencies_.log.notice("Last client disconnected; handing the fan back shortly.");
    try {
        orphanTimer_ =
            dependencies_.machine.queue.scheduleTimer(KeloHelper::orphanGracePeriod, false, [weak = weak_from_this()] {
                if (const auto service = weak.lock())
                    service->orphanTimerFired();
            });
    } catch (...) { // out of memory: handing back too early is better than never
        orphanTimerFired();
    }
}

void HelperService::orphanTimerFired() noexcept {
    if (clients_ != 0)
        return;
    handFansBack();
    dependencies_.log.notice("Fan handed back to macOS after the client went away.");
}

void HelperService::shutdownNow() noexcept {
    assert(dependencies_.machine.queue.isCurrent());
    handFansBack();
    dependencies_.log.notice("Handed the fan back on the way out.");
}

} // namespace kelo
