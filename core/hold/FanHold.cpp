#include "core/hold/FanHold.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <utility>

#include "core/fan/FanController.h"
#include "core/hold/FanMath.h"
#include "core/hold/HoldGate.h"
#include "core/hold/Lid.h"
#include "core/hold/ThermalFloor.h"
#include "core/queue/MainQueue.h"

namespace kelo {
namespace {

constexpr double driftTolerance = 25.0; // RPM; smaller differences are not worth a write
constexpr double addingAirThreshold = 0.001;

/// Sets a flag until the end of the scope.
class RaisedFlag {
public:
    explicit RaisedFlag(bool& flag) : flag_(flag) { flag_ = true; }
    RaisedFlag(const RaisedFlag&) = delete;
    RaisedFlag& operator=(const RaisedFlag&) = delete;
    ~RaisedFlag() { flag_ = false; }

private:
    bool& flag_;
};

} // namespace

FanHold::FanHold(std::shared_ptr<FanController> controller, double fraction, bool handsBackOnLidClose, MainQueue& queue,
                 Clamshell& clamshell)
    : controller_(std::move(controller)), fraction_(FanMath::clamped(fraction)),
      handsBackOnLidClose_(handsBackOnLidClose), queue_(queue), clamshell_(clamshell) {}

FanHold::~FanHold() = default;

void FanHold::start(bool isAsleep) {
    assert(queue_.isCurrent());
    const auto alive = shared_from_this(); // the observer may drop the owner's reference
    // Reserves the memory for all ticks now: if memory runs out here, the hold is only refused.
    chipReadings_.reserve(ThermalFloor::smoothingWindow + 1);
    fans_.reserve(static_cast<std::size_t>(controller_->fanCount()));
    isHolding_ = true;
    isSleeping_ = isAsleep;
    if (mayHold()) {
        const bool neededUnlock = engage();
        isEngaged_ = true;
        announce(Event::engaged(fraction_, neededUnlock));
    } else {
        announce(Event::yielded());
    }
    startTimer();
}

void FanHold::stop() {
    assert(queue_.isCurrent());
    assert(!isAnnouncing_);
    if (!isHolding_)
        return;
    const auto alive = shared_from_this(); // the observer may drop the owner's reference
    isHolding_ = false;
    isEngaged_ = false;
    if (timer_)
        timer_->invalidate();
    timer_.reset();
    controller_->restoreAuto();
    announce(Event::released());
}

void FanHold::startTimer() {
    timer_ = queue_.scheduleTimer(checkInterval, true, [weak = weak_from_this()] {
        if (const auto hold = weak.lock())
            hold->tick();
    });
}

void FanHold::tick() {
    if (onTick)
        onTick();
    reassertIfNeeded();
}

/// Whether the hold may keep the fans now. Queries the lid on every call, even while the system sleeps.
bool FanHold::mayHold() {
    const bool lidClosed = Lid::isClosed(clamshell_);
    return HoldGate::mayHold(isSleeping_, lidClosed, handsBackOnLidClose_);
}

/// Puts every fan in manual mode at the held fraction. Returns whether any fan needed the unlock switch. Throws at the
/// first refusal and does not change the remaining fans. The caller maintains `isEngaged_`.
bool FanHold::engage() {
    const double fraction = heldFraction();
    bool neededUnlock = false;
    controller_->readFans(fans_);
    for (const auto& fan : fans_) {
        const bool unlocked = controller_->engageManual(fan.index);
        controller_->setTarget(fan.index, FanMath::target(fan.minRPM, fan.maxRPM, fraction));
        neededUnlock = neededUnlock || unlocked;
    }
    return neededUnlock;
}

/// Takes the fans or hands them back, as the gate requires. Returns whether the fans are now held.
bool FanHold::follow() {
    if (!isHolding_)
        return false;
    if (!mayHold()) {
        if (isEngaged_) {
            isEngaged_ = false;
            controller_->restoreAuto();
            announce(Event::yielded());
        }
        return false;
    }
    if (isEngaged_)
        return true;
    try {
        engage();
    } catch (const FanError&) {
        return false; // the next tick tries again
    }
    isEngaged_ = true;
    announce(Event::resumed());
    return true;
}

/// Computes the fraction to hold. Each call reads the chip temperature once and lowers the floor by at most one step.
double FanHold::heldFraction() {
    takeChipReading();
    const double candidate = ThermalFloor::hold(fraction_, ThermalFloor::smoothed(chipReadings_));
    floor_ = ThermalFloor::eased(floor_, candidate);
    const double held = fraction_ > floor_ ? fraction_ : floor_;
    const bool isAdding = fraction_ + addingAirThreshold < held;
    if (isAdding != isAddingAir_) {
        isAddingAir_ = isAdding;
        announce(isAdding ? Event::addingAir(held) : Event::backToAsked());
    }
    return held;
}

/// Adds the current chip temperature to the readings. If it cannot be read, keeps the older readings.
void FanHold::takeChipReading() {
    const auto celsius = controller_->chipTemperature();
    if (!celsius)
        return;
    chipReadings_.push_back(*celsius);
    if (chipReadings_.size() > ThermalFloor::smoothingWindow)
        chipReadings_.erase(chipReadings_.begin());
}

/// Takes the fans again if a fan is no longer in manual mode or a target is off by more than the tolerance. Targets are
/// off after another program has changed them or after the held fraction has changed.
void FanHold::reassertIfNeeded() {
    if (!follow())
        return;
    controller_->readFans(fans_);
    const bool isAllManual = std::all_of(fans_.begin(), fans_.end(), [](const Fan& fan) { return fan.isManual; });
    const double fraction = heldFraction();
    if (!isAnyTargetOff(fraction) && isAllManual)
        return;
    try {
        engage();
    } catch (const FanError&) {
        // The next tick tries again.
    }
    if (!isAllManual)
        announce(Event::reasserted());
}

/// Whether a target is off by more than the tolerance. Reads the fans again, since computing the fraction may have
/// taken a while.
bool FanHold::isAnyTargetOff(double fraction) {
    controller_->readFans(fans_);
    return std::any_of(fans_.begin(), fans_.end(), [&](const Fan& fan) {
        return std::fabs(fan.targetRPM - FanMath::target(fan.minRPM, fan.maxRPM, fraction)) > driftTolerance;
    });
}

void FanHold::systemWillSleep() {
    if (!isHolding_)
        return;
    const auto alive = shared_from_this(); // the observer may drop the owner's reference
    isEngaged_ = false;
    isSleeping_ = true;
    controller_->restoreAuto();
    announce(Event::sleeping());
}

void FanHold::systemDidWake() {
    if (!isHolding_)
        return;
    const auto alive = shared_from_this(); // the observer may drop the owner's reference
    isSleeping_ = false;
    announce(Event::woke());
    follow();
}

void FanHold::announce(const Event& event) {
    if (!onEvent)
        return;
    const RaisedFlag announcing(isAnnouncing_);
    try {
        onEvent(event);
    } catch (...) { // NOLINT(bugprone-empty-catch): the fans matter more than the event
    }
}

} // namespace kelo
