#include "prove/reference/Reference.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <iterator>
#include <utility>

namespace kelo::reference {
namespace {

constexpr double orphanSeconds = 8.0;
constexpr double standDownSeconds = 0.3;
constexpr std::int64_t interfaceVersion = 6;
constexpr std::uint32_t messageCanSleep = 0xE0000270;
constexpr std::uint32_t messageWillSleep = 0xE0000280;
constexpr std::uint32_t messagePoweredOn = 0xE0000300;
constexpr int endingSignals[] = {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGXCPU, SIGUSR1, SIGUSR2, SIGALRM};
const std::string serviceName = "app.kelo.helper";
const std::string appIdentifier = "app.kelo.Kelo";
const std::string listenerCategory = "listener";

// JSON has no text for NaN and infinities, so a record with one can't be sent.
bool canBeEncoded(const Snapshot& snapshot) {
    return std::isfinite(snapshot.currentRPM) && std::isfinite(snapshot.minRPM) && std::isfinite(snapshot.maxRPM) &&
           std::isfinite(snapshot.targetRPM) && std::isfinite(snapshot.chipCelsius.value_or(0.0));
}

} // namespace

Model::Model(Outside& outside) : outside_(outside) {}

void Model::start() {
    startService();
    startBinaryWatch();
    startListener();
}

void Model::startService() {
    openFans();
    if (fanCount_ == 0) {
        outside_.log(serviceCategory, Level::error,
                     "No controllable fan on this Mac \u2014 the helper will refuse every request.");
        return;
    }
    hearsPower_ = outside_.registerForPower(); // for good: a machine may go to sleep while no fan is held
}

void Model::startBinaryWatch() {
    binaryPath_ = outside_.ownExecutable();
    if (!binaryPath_) {
        outside_.log(listenerCategory, Level::error,
                     "Couldn't find our own executable; an update won't replace this process until restart.");
        return;
    }
    binaryIdentity_ = outside_.identify(*binaryPath_);
    isBinaryWatched_ = outside_.watch(*binaryPath_);
}

void Model::startListener() {
    outside_.createListener(serviceName);
    const std::optional<std::string> team = outside_.ownTeam();
    if (team) {
        outside_.setRequirement(requirementText(appIdentifier, *team));
        outside_.log(listenerCategory, Level::notice, "Accepting only " + appIdentifier + " signed by " + *team + ".");
    } else {
        outside_.log(listenerCategory, Level::error,
                     "This helper isn't signed, so there is no one it can safely trust.");
    }
    for (const int number : endingSignals)
        outside_.makeSignalSource(number);
    if (team) {
        outside_.resumeListener();
        isListening_ = true;
        outside_.log(listenerCategory, Level::notice, "Listening on " + serviceName);
    }
}

// Connections.

bool Model::isBinaryCurrent() {
    // A file that could not be identified at the start counts as current for ever.
    return !binaryPath_ || !binaryIdentity_ || outside_.identify(*binaryPath_) == binaryIdentity_;
}

void Model::lookAtBinary() {
    if (isBinaryCurrent())
        return;
    if (isBinaryWatched_) {
        outside_.cancelFileWatch();
        isBinaryWatched_ = false;
    }
    leaveAfter("Our binary was deleted or moved. Handing the fan back and leaving for the new helper.");
}

void Model::connectionArrived() {
    if (isGone_ || !isListening_)
        return;
    if (!isBinaryCurrent()) {
        outside_.post([this] {
            leaveAfter("Our binary was replaced on disk. Handing the fan back and leaving for the new helper.");
        });
        return;
    }
    outside_.acceptConnection();
    outside_.post([this] { clientArrived(); });
}

void Model::connectionEnded() {
    if (!isGone_)
        outside_.post([this] { clientWentAway(); });
}

// Requests.

void Model::helperVersion(RequestId request) {
    if (!isGone_)
        outside_.replyVersion(request, interfaceVersion);
}

void Model::fetchSnapshot(RequestId request) {
    if (isGone_)
        return;
    outside_.post([this, request] {
        if (fanCount_ == 0) {
            outside_.replySnapshot(request, std::nullopt);
            return;
        }
        const Snapshot snapshot = takeSnapshot();
        outside_.replySnapshot(request, canBeEncoded(snapshot) ? std::optional<Snapshot>(snapshot) : std::nullopt);
    });
}

void Model::hold(RequestId request, double fraction, bool handsBackOnLidClose) {
    if (!isGone_) {
        outside_.post(
            [this, request, fraction, handsBackOnLidClose] { holdOnMain(request, fraction, handsBackOnLidClose); });
    }
}

void Model::handBack(RequestId request) {
    if (!isGone_)
        outside_.post([this, request] { handBackOnMain(request); });
}

void Model::standDown(RequestId request) {
    if (isGone_)
        return;
    outside_.log(serviceCategory, Level::notice, "A newer Kelo asked us to stand down.");
    outside_.replyEmpty(request);
    outside_.armTimer(Timer::standDown, standDownSeconds, false);
}

Snapshot Model::takeSnapshot() {
    const std::vector<Fan> all = fans();
    Snapshot snapshot;
    if (!all.empty()) {
        const Fan* fastest = &all.front();
        for (const Fan& fan : all) {
            if (fastest->currentRPM < fan.currentRPM)
                fastest = &fan;
            snapshot.underKeloControl = snapshot.underKeloControl || fan.isManual;
        }
        snapshot.fanCount = static_cast<std::int64_t>(all.size());
        snapshot.currentRPM = fastest->currentRPM;
        snapshot.minRPM = fastest->minRPM;
        snapshot.maxRPM = fastest->maxRPM;
        snapshot.targetRPM = fastest->targetRPM;
        snapshot.addingAir = session_ && session_->isAddingAir;
        snapshot.lidHasFan = session_ && session_->isHolding && !session_->isEngaged && !session_->isSleeping;
    }
    snapshot.warmth = warmth();
    snapshot.chipCelsius = chipTemperature();
    return snapshot;
}

void Model::holdOnMain(RequestId request, double fraction, bool handsBackOnLidClose) {
    if (fanCount_ == 0) {
        outside_.replyError(request, noFansText);
        return;
    }
    if (session_)
        stopHold(*session_);
    hearsPower_ = hearsPower_ || outside_.registerForPower(); // without it the hold runs on, deaf to sleep
    Hold fresh;
    fresh.asked = clampedFraction(fraction);
    fresh.isSleeping = isAsleep_;
    fresh.handsBackOnLidClose = handsBackOnLidClose;
    session_ = fresh;
    const Refusal refusal = startHold(*session_);
    if (refusal) {
        restoreAuto(); // nobody would watch the fans that it has already switched
        session_.reset();
    }
    outside_.replyError(request, refusal);
}

void Model::handBackOnMain(RequestId request) {
    endSession();
    outside_.replyError(request, std::nullopt);
}

// Clients and leaving.

void Model::endSession() {
    if (session_)
        stopHold(*session_);
    session_.reset();
    if (fanCount_ != 0)
        restoreAuto();
}

void Model::clientArrived() {
    clients_ += 1;
    if (hasOrphanTimer_)
        outside_.cancelTimer(Timer::orphan);
    hasOrphanTimer_ = false;
}

void Model::clientWentAway() {
    const std::int64_t left = clients_ - 1;
    clients_ = std::max<std::int64_t>(left, 0);
    if (left > 0 || !session_)
        return;
    outside_.log(serviceCategory, Level::notice, "Last client disconnected; handing the fan back shortly.");
    if (hasOrphanTimer_)
        outside_.cancelTimer(Timer::orphan);
    outside_.armTimer(Timer::orphan, orphanSeconds, false);
    hasOrphanTimer_ = true;
}

void Model::orphanTimerFired() {
    if (clients_ != 0)
        return;
    endSession();
    outside_.log(serviceCategory, Level::notice, "Fan handed back to macOS after the client went away.");
}

void Model::shutdownNow() {
    endSession();
    outside_.log(serviceCategory, Level::notice, "Handed the fan back on the way out.");
}

void Model::leave() {
    shutdownNow();
    isGone_ = true; // first, since ending the process may not return
    outside_.exit(0);
}

void Model::leaveAfter(const std::string& notice) {
    outside_.log(listenerCategory, Level::notice, notice);
    leave();
}

// Timers, power, file events and signals.

void Model::timerFired(Timer which) {
    if (isGone_)
        return;
    switch (which) {
    case Timer::repair:
        lookAtBinary(); // no event tells of every replacement
        if (session_ && !isGone_)
            reassertIfNeeded(*session_);
        break;
    case Timer::orphan:
        orphanTimerFired();
        break;
    case Timer::standDown:
        leave();
        break;
    }
}

void Model::powerMessage(std::uint32_t type, std::intptr_t id) {
    if (isGone_ || !hearsPower_)
        return;
    isAsleep_ = type == messageWillSleep || (isAsleep_ && type != messagePoweredOn);
    if (session_ && type == messageWillSleep)
        willSleep(*session_);
    if (session_ && type == messagePoweredOn)
        didWake(*session_);
    if (type == messageCanSleep || type == messageWillSleep)
        outside_.allowPowerChange(id); // last: the machine may sleep from here on
}

void Model::fileEvent() {
    if (!isGone_ && isBinaryWatched_)
        lookAtBinary();
}

void Model::signal(int number) {
    if (isGone_ || std::find(std::begin(endingSignals), std::end(endingSignals), number) == std::end(endingSignals))
        return;
    leaveAfter("Asked to stop.");
}

} // namespace kelo::reference
