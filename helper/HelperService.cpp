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

std::shared_ptr<FanController> openController(FanSystem& system) {
    try {
        return std::make_shared<FanController>(system);
    } catch (const FanError&) {
        return nullptr; // whatever the reason: the service says that there is nothing to control
    }
}

/// The fastest fan, and the first of equally fast ones. `fans` is not empty.
const Fan& reportedFan(const std::vector<Fan>& fans) {
    return *std::max_element(fans.begin(), fans.end(),
                             [](const Fan& a, const Fan& b) { return a.currentRPM < b.currentRPM; });
}

} // namespace

HelperService::HelperService(ServiceSurroundings surroundings)
    : surroundings_(std::move(surroundings)), controller_(openController(surroundings_.fanSystem)) {
    if (!controller_)
        surroundings_.log.error("No controllable fan on this Mac — the helper will refuse every request.");
}

HelperService::~HelperService() = default;

// --- requests

void HelperService::helperVersion(VersionReply reply) { reply(KeloHelper::interfaceVersion); }

void HelperService::fetchSnapshot(DataReply reply) {
    surroundings_.queue.post([weak = weak_from_this(), reply = std::move(reply)] {
        const auto service = weak.lock();
        if (!service || !service->controller_)
            return reply(std::nullopt);
        std::optional<Data> snapshot;
        try {
            snapshot = service->makeSnapshot();
        } catch (const std::exception&) {
            // A reading that JSON cannot hold: there is no snapshot to send.
        }
        reply(std::move(snapshot));
    });
}

void HelperService::hold(double fraction, bool handsBackOnLidClose, ErrorReply reply) {
    surroundings_.queue.post([weak = weak_from_this(), fraction, handsBackOnLidClose, reply = std::move(reply)] {
        const auto service = weak.lock();
        if (!service || !service->controller_)
            return reply(FanError::noFans().errorDescription());
        reply(service->startHold(fraction, handsBackOnLidClose));
    });
}

void HelperService::handBack(ErrorReply reply) {
    surroundings_.queue.post([weak = weak_from_this(), reply = std::move(reply)] {
        if (const auto service = weak.lock())
            service->releaseFans();
        reply(std::nullopt);
    });
}

void HelperService::standDown(EmptyReply reply) {
    surroundings_.log.notice("A newer Kelo asked us to stand down.");
    reply();
    surroundings_.queue.postAfter(standDownDelay, [weak = weak_from_this(), exitProcess = surroundings_.exitProcess] {
        if (const auto service = weak.lock())
            service->shutdownNow();
        exitProcess(0);
    });
}

Data HelperService::makeSnapshot() const {
    const auto fans = controller_->fans();
    const auto warmth = controller_->warmth();
    const auto chipCelsius = controller_->chipTemperature();
    const auto fan = fans.empty() ? Fan{} : reportedFan(fans);
    const auto* hold = fans.empty() ? nullptr : session_.get(); // without a usable fan the hold has no say
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

/// Replaces the running hold. Returns the reason when the new one could not start; then none runs.
std::optional<std::string> HelperService::startHold(double fraction, bool handsBackOnLidClose) {
    if (session_)
        session_->stop();
    const auto hold =
        std::make_shared<FanHold>(controller_, fraction, handsBackOnLidClose,
                                  HoldSurroundings{surroundings_.queue, surroundings_.power, surroundings_.clamshell});
    hold->onEvent = [weak = weak_from_this()](const FanHold::Event& event) {
        if (const auto service = weak.lock())
            service->surroundings_.log.notice("hold: " + event.description());
    };
    try {
        hold->start();
    } catch (const std::exception& error) { // a FanError, or a system that is out of something
        session_.reset();
        // Fans that were taken before the failure must not stay where nobody watches them.
        controller_->restoreAuto();
        return error.what();
    }
    session_ = hold;
    return std::nullopt;
}

void HelperService::endHold() {
    if (session_)
        session_->stop();
    session_.reset();
}

void HelperService::releaseFans() {
    endHold();
    if (controller_)
        controller_->restoreAuto(); // also without a hold: somebody else's manual mode ends here
}

// --- clients

void HelperService::clientArrived() {
    surroundings_.queue.post([weak = weak_from_this()] {
        const auto service = weak.lock();
        if (!service)
            return;
        if (service->clients_ == std::numeric_limits<std::int64_t>::max())
            std::abort(); // a count that wrapped would hand the fan back under a client
        ++service->clients_;
        service->orphanTimer_.reset();
    });
}

void HelperService::clientWentAway() {
    surroundings_.queue.post([weak = weak_from_this()] {
        if (const auto service = weak.lock())
            service->countDeparture();
    });
}

void HelperService::countDeparture() {
    clients_ = std::max<std::int64_t>(clients_ - 1, 0);
    if (clients_ > 0 || !session_)
        return;
    surroundings_.log.notice("Last client disconnected; handing the fan back shortly.");
    orphanTimer_ = surroundings_.queue.scheduleTimer(KeloHelper::orphanGracePeriod, false, [weak = weak_from_this()] {
        if (const auto service = weak.lock())
            service->orphanTimerFired();
    });
}

void HelperService::orphanTimerFired() {
    if (clients_ != 0)
        return;
    releaseFans();
    surroundings_.log.notice("Fan handed back to macOS after the client went away.");
}

void HelperService::shutdownNow() {
    assert(surroundings_.queue.isCurrent());
    releaseFans();
    surroundings_.log.notice("Handed the fan back on the way out.");
}

} // namespace kelo
