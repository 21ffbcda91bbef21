#include "prove/reference/Reference.h"

#include <cmath>

namespace kelo::reference {
namespace {

constexpr double repairSeconds = 2.0;
constexpr double driftRPM = 25.0;
constexpr double addingMargin = 0.001;

std::string boolText(bool value) { return value ? "true" : "false"; }

} // namespace

// The hold.

void Model::emit(const std::string& event) { notice(serviceCategory, "hold: " + event); }

bool Model::gateIsOpen(const Hold& hold) {
    // Reads the lid state even if sleep alone decides.
    const bool isLidClosed = readsAsClosed(platform_.machine.clamshell.clamshellState());
    return mayHold(hold.isSleeping, isLidClosed, hold.handsBackOnLidClose);
}

Model::Refusal Model::startHold(Hold& hold) {
    hold.isHolding = true;
    if (gateIsOpen(hold)) {
        bool neededUnlock = false;
        if (Refusal refusal = engage(hold, neededUnlock))
            return refusal;
        hold.isEngaged = true;
        emit("engaged(fraction: " + doubleText(hold.asked) + ", neededUnlock: " + boolText(neededUnlock) + ")");
    } else {
        emit("yielded");
    }
    repairTimer_ = platform_.machine.queue.scheduleTimer(repairSeconds, true, [this] {
        if (!isGone_)
            lookAtBinary(); // some replacements cause no event
        if (session_ && !isGone_)
            reassertIfNeeded(*session_);
    });
    return std::nullopt;
}

void Model::stopHold(Hold& hold) {
    if (!hold.isHolding)
        return;
    hold.isHolding = false;
    hold.isEngaged = false;
    repairTimer_.reset();
    restoreAuto();
    emit("released");
}

Model::Refusal Model::engage(Hold& hold, bool& neededUnlock) {
    const double fraction = heldFraction(hold);
    neededUnlock = false;
    for (const Fan& fan : fans()) {
        bool usedUnlock = false;
        if (Refusal refusal = engageManual(fan.index, usedUnlock))
            return refusal;
        if (Refusal refusal = setTarget(fan.index, targetRPM(fan.minRPM, fan.maxRPM, fraction)))
            return refusal;
        neededUnlock = neededUnlock || usedUnlock;
    }
    return std::nullopt;
}

// Evaluates the floor. Each call takes one easing step, so the number of calls matters.
double Model::heldFraction(Hold& hold) {
    if (const std::optional<double> celsius = chipTemperature()) {
        hold.chipReadings.push_back(*celsius);
        if (hold.chipReadings.size() > smoothingWindow)
            hold.chipReadings.erase(hold.chipReadings.begin());
    }
    const double candidate = raisedToFloor(hold.asked, smoothedCelsius(hold.chipReadings));
    hold.floor = easedFraction(hold.floor, candidate);
    const double held = hold.asked > hold.floor ? hold.asked : hold.floor;
    const bool isAdding = hold.asked + addingMargin < held;
    if (isAdding != hold.isAddingAir) {
        hold.isAddingAir = isAdding;
        emit(isAdding ? "addingAir(fraction: " + doubleText(held) + ")" : "backToAsked");
    }
    return held;
}

// Takes or hands back the fans as the gate demands. Returns whether they are held afterwards.
bool Model::follow(Hold& hold) {
    if (!hold.isHolding)
        return false;
    if (!gateIsOpen(hold)) {
        if (hold.isEngaged) {
            hold.isEngaged = false;
            restoreAuto();
            emit("yielded");
        }
        return false;
    }
    if (!hold.isEngaged) {
        bool neededUnlock = false;
        if (engage(hold, neededUnlock))
            return false; // logs nothing; the next tick tries again
        hold.isEngaged = true;
        emit("resumed");
    }
    return true;
}

bool Model::hasDrift(double fraction) {
    for (const Fan& fan : fans())
        if (std::fabs(fan.targetRPM - targetRPM(fan.minRPM, fan.maxRPM, fraction)) > driftRPM)
            return true;
    return false;
}

void Model::reassertIfNeeded(Hold& hold) {
    if (!hold.isHolding || !follow(hold))
        return;
    bool allManual = true;
    for (const Fan& fan : fans())
        allManual = allManual && fan.isManual;
    const double fraction = heldFraction(hold);
    if (!hasDrift(fraction) && allManual)
        return;
    bool neededUnlock = false;
    engage(hold, neededUnlock); // the next tick retries after a failure
    if (!allManual)
        emit("reasserted");
}

void Model::willSleep(Hold& hold) {
    if (!hold.isHolding)
        return;
    hold.isEngaged = false;
    hold.isSleeping = true;
    restoreAuto();
    emit("sleeping");
}

void Model::didWake(Hold& hold) {
    if (!hold.isHolding)
        return;
    hold.isSleeping = false;
    emit("woke");
    follow(hold);
}

} // namespace kelo::reference
