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

Daemon::Daemon(World& outside) : world_(outside) {}

void Daemon::start() {
    startService();
    startBinaryWatch();
    startListener();
}

void Daemon::startService() {
    openFans();
    if (fanCount_ == 0) {
        world_.log(serviceCategory, Level::error,
                   "No controllable fan on this Mac \u2014 the helper will refuse every request.");
        return;
    }
    hearsPower_ = world_.registerForPower(); // for good: a machine may go to sleep while no fan is held
}

void Daemon::startBinaryWatch() {
    binaryPath_ = world_.ownExecutable();
    if (!binaryPath_) {
        world_.log(listenerCategory, Level::error,
                   "Couldn't find our own executable; an update won't replace this process until restart.");
        return;
    }
    binaryIdentity_ = world_.identify(*binaryPath_);
    isBinaryWatched_ = world_.watch(*binaryPath_);
}

void Daemon::startListener() {
    world_.createListener(serviceName);
    const std::optional<std::string> team = teamOf(world_.signingInformation());
    if (team) {
        world_.setRequirement(requirementText(appIdentifier, *team));
        world_.log(listenerCategory, Level::notice, "Accepting only " + appIdentifier + " signed by " + *team + ".");
    } else {
        world_.log(listenerCategory, Level::error, "This helper isn't signed, so there is no one it can safely trust.");
    }
    for (const int number : endingSignals) {
        world_.makeSignalSource(number);
    }
    if (team) {
        world_.resumeListener();
        isListening_ = true;
        world_.log(listenerCategory, Level::notice, "Listening on " + serviceName);
    }
}

// The main queue.

void Daemon::onMain(std::function<void()> work) {
    mainQueue_.push_back(std::move(work));
    drainMainQueue();
}

void Daemon::drainMainQueue() {
    if (isMainBusy_) {
        return;
    }
    isMainBusy_ = true;
    while (!mainQueue_.empty() && !isGone_) {
        const std::function<void()> work = std::move(mainQueue_.front());
        mainQueue_.pop_front();
        work();
    }
    isMainBusy_ = false;
}

bool Daemon::hasExited() const { return isGone_; }

// Connections.

bool Daemon::isBinaryCurrent() {
    // A file that could not be identified at the start counts as current for ever.
    return !binaryPath_ || !binaryIdentity_ || world_.identify(*binaryPath_) == binaryIdentity_;
}

void Daemon::lookAtBinary() {
    if (isBinaryCurrent()) {
        return;
    }
    if (isBinaryWatched_) {
        world_.cancelFileWatch();
        isBinaryWatched_ = false;
    }
    leaveAfter("Our binary was deleted or moved. Handing the fan back and leaving for the new helper.");
}

void Daemon::connectionArrived(ConnectionId connection) {
    if (isGone_ || !isListening_) {
        return;
    }
    if (!isBinaryCurrent()) {
        world_.refuseConnection(connection);
        onMain([this] {
            leaveAfter("Our binary was replaced on disk. Handing the fan back and leaving for the new helper.");
        });
        return;
    }
    world_.acceptConnection(connection);
    onMain([this] { clientArrived(); });
}

void Daemon::connectionInterrupted(ConnectionId) {
    if (!isGone_) {
        onMain([this] { clientWentAway(); });
    }
}

void Daemon::connectionInvalidated(ConnectionId) {
    if (!isGone_) {
        onMain([this] { clientWentAway(); });
    }
}

// Requests.

void Daemon::helperVersion(ConnectionId, RequestId request) {
    if (!isGone_) {
        world_.replyVersion(request, interfaceVersion);
    }
}

void Daemon::fetchSnapshot(ConnectionId, RequestId request) {
    if (isGone_) {
        return;
    }
    onMain([this, request] {
        if (fanCount_ == 0) {
            world_.replySnapshot(request, std::nullopt);
            return;
        }
        const Snapshot snapshot = takeSnapshot();
        world_.replySnapshot(request, canBeEncoded(snapshot) ? std::optional<Snapshot>(snapshot) : std::nullopt);
    });
}

void Daemon::hold(ConnectionId, RequestId request, double fraction, bool handsBackOnLidClose) {
    if (!isGone_) {
        onMain([this, request, fraction, handsBackOnLidClose] { holdOnMain(request, fraction, handsBackOnLidClose); });
    }
}

void Daemon::handBack(ConnectionId, RequestId request) {
    if (!isGone_) {
        onMain([this, request] { handBackOnMain(request); });
    }
}

void Daemon::standDown(ConnectionId, RequestId request) {
    if (isGone_) {
        return;
    }
    world_.log(serviceCategory, Level::notice, "A newer Kelo asked us to stand down.");
    world_.replyEmpty(request);
    world_.armTimer(Timer::standDown, standDownSeconds, false);
}

Snapshot Daemon::takeSnapshot() {
    const std::vector<Fan> all = fans();
    Snapshot snapshot;
    if (!all.empty()) {
        const Fan* fastest = &all.front();
        for (const Fan& fan : all) {
            if (fastest->currentRPM < fan.currentRPM) {
                fastest = &fan;
            }
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

void Daemon::holdOnMain(RequestId request, double fraction, bool handsBackOnLidClose) {
    if (fanCount_ == 0) {
        world_.replyError(request, noFansText);
        return;
    }
    if (session_) {
        stopHold(*session_);
    }
    hearsPower_ = hearsPower_ || world_.registerForPower(); // without it the hold runs on, deaf to sleep
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
    world_.replyError(request, refusal);
}

void Daemon::handBackOnMain(RequestId request) {
    endSession();
    world_.replyError(request, std::nullopt);
}

// Clients and leaving.

void Daemon::endSession() {
    if (session_) {
        stopHold(*session_);
    }
    session_.reset();
    if (fanCount_ != 0) {
        restoreAuto();
    }
}

void Daemon::clientArrived() {
    clients_ += 1;
    if (hasOrphanTimer_) {
        world_.cancelTimer(Timer::orphan);
    }
    hasOrphanTimer_ = false;
}

void Daemon::clientWentAway() {
    const std::int64_t left = clients_ - 1;
    clients_ = std::max<std::int64_t>(left, 0);
    if (left > 0 || !session_) {
        return;
    }
    world_.log(serviceCategory, Level::notice, "Last client disconnected; handing the fan back shortly.");
    if (hasOrphanTimer_) {
        world_.cancelTimer(Timer::orphan);
    }
    world_.armTimer(Timer::orphan, orphanSeconds, false);
    hasOrphanTimer_ = true;
}

void Daemon::orphanTimerFired() {
    if (clients_ != 0) {
        return;
    }
    endSession();
    world_.log(serviceCategory, Level::notice, "Fan handed back to macOS after the client went away.");
}

void Daemon::shutdownNow() {
    endSession();
    world_.log(serviceCategory, Level::notice, "Handed the fan back on the way out.");
}

void Daemon::leave() {
    shutdownNow();
    isGone_ = true; // first, since ending the process may not return
    world_.exit(0);
}

void Daemon::leaveAfter(const std::string& notice) {
    world_.log(listenerCategory, Level::notice, notice);
    leave();
}

// Timers, power, file events and signals.

void Daemon::timerFired(Timer which) {
    if (isGone_) {
        return;
    }
    onMain([this, which] {
        switch (which) {
        case Timer::repair:
            lookAtBinary(); // no event tells of every replacement
            if (session_ && !isGone_) {
                reassertIfNeeded(*session_);
            }
            break;
        case Timer::orphan:
            orphanTimerFired();
            break;
        case Timer::standDown:
            leave();
            break;
        }
    });
}

void Daemon::powerMessage(std::uint32_t type, std::intptr_t id) {
    if (isGone_) {
        return;
    }
    onMain([this, type, id] {
        if (!hearsPower_) {
            return;
        }
        isAsleep_ = type == messageWillSleep || (isAsleep_ && type != messagePoweredOn);
        if (session_ && type == messageWillSleep) {
            willSleep(*session_);
        }
        if (session_ && type == messagePoweredOn) {
            didWake(*session_);
        }
        if (type == messageCanSleep || type == messageWillSleep) {
            world_.allowPowerChange(id); // last: the machine may sleep from here on
        }
    });
}

void Daemon::fileEvent() {
    if (isGone_) {
        return;
    }
    onMain([this] {
        if (isBinaryWatched_) {
            lookAtBinary();
        }
    });
}

void Daemon::signal(int number) {
    if (isGone_ || std::find(std::begin(endingSignals), std::end(endingSignals), number) == std::end(endingSignals)) {
        return;
    }
    onMain([this] { leaveAfter("Asked to stop."); });
}

} // namespace kelo::reference
