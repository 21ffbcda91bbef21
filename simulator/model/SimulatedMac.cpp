#include "simulator/model/SimulatedMac.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kelo {
namespace {

constexpr double stepSeconds = 0.1;
constexpr double fanInertia = 1.5; // seconds in which the distance to the target shrinks by a factor of e

// Chosen so that an idle laptop settles at about 45 degrees and a fully loaded one at about 115 degrees with slow fans
// and 80 with fast ones. So a hold at a low fraction needs its thermal floor.
constexpr double ambientCelsius = 25.0;
constexpr double idlePower = 23.8;          // watts
constexpr double loadPower = 95.0;          // additional watts at full load
constexpr double stillAirConductance = 1.0; // watts per degree
constexpr double fanConductance = 0.945;    // additional watts per degree at full speed
constexpr double heatCapacity = 24.0;       // joules per degree

// Chip temperatures between which the system's automatic control speeds up the fans.
constexpr double automaticFrom = 55.0;
constexpr double automaticTo = 95.0;

std::string fanKey(std::size_t fan, const char* suffix) { return "F" + std::to_string(fan) + suffix; }

} // namespace

SimulatedMac::SimulatedMac(const Profile& profile, std::function<double()> now, double heatSpeed)
    : profile_(profile), now_(std::move(now)), heatSpeed_(heatSpeed), controller_(now_), time_(now_()) {
    profile_.defineKeys(controller_);
    for (const auto& range : profile_.fans)
        fans_.push_back(range.minRPM);
    chipCelsius_ = controller_.number(profile_.chipKey);
}

SimulatedController& SimulatedMac::controller() {
    advance();
    return controller_;
}

std::optional<SMCKeyData> SimulatedMac::exchange(const SMCKeyData& request, bool callerIsRoot) {
    return controller().exchange(request, callerIsRoot);
}

void SimulatedMac::setLoad(double load) {
    advance();
    load_ = std::clamp(load, 0.0, 1.0);
}

void SimulatedMac::pin(const std::string& key, double value) {
    advance();
    if (!controller_.has(key))
        controller_.defineNumber(key, smc_type::flt, value);
    controller_.setNumber(key, value);
    pinned_.insert(key);
}

void SimulatedMac::unpin(const std::string& key) {
    advance();
    pinned_.erase(key);
}

void SimulatedMac::setAsleep(bool isAsleep) {
    advance();
    isAsleep_ = isAsleep;
}

void SimulatedMac::interfereWithSpeed(int fan, double rpm) {
    interfereWithMode(fan, true);
    controller_.setNumber(fanKey(static_cast<std::size_t>(fan), "Tg"), rpm);
}

void SimulatedMac::interfereWithMode(int fan, bool isManual) {
    advance();
    controller_.setNumber(fanKey(static_cast<std::size_t>(fan), "Md"), isManual ? 1 : 0);
}

double SimulatedMac::chipCelsius() {
    advance();
    return chipCelsius_;
}

double SimulatedMac::automaticSpeed(const Profile::FanRange& range, double chipCelsius) {
    const double fraction = std::clamp((chipCelsius - automaticFrom) / (automaticTo - automaticFrom), 0.0, 1.0);
    return range.minRPM + (range.maxRPM - range.minRPM) * fraction;
}

void SimulatedMac::advance() {
    const double now = now_();
    if (now - time_ < stepSeconds)
        return;
    while (now - time_ >= stepSeconds) {
        step(stepSeconds);
        time_ += stepSeconds;
    }
    publish();
}

void SimulatedMac::step(double seconds) {
    for (std::size_t i = 0; i < fans_.size(); ++i)
        stepFan(i, seconds);
    stepChip(seconds);
}

void SimulatedMac::stepFan(std::size_t index, double seconds) {
    const auto targetKey = fanKey(index, "Tg");
    const auto modeKey = fanKey(index, "Md");
    if (!controller_.has(targetKey) || !controller_.has(modeKey))
        return;
    if (controller_.number(modeKey) == 0)
        publish(targetKey, automaticSpeed(profile_.fans[index], chipCelsius_));
    const double target = isAsleep_ ? 0.0 : controller_.number(targetKey);
    if (std::isfinite(target)) // a fan does not turn backwards
        fans_[index] += (std::max(target, 0.0) - fans_[index]) * (1 - std::exp(-seconds / fanInertia));
}

void SimulatedMac::stepChip(double seconds) {
    if (pinned_.contains(profile_.chipKey)) {
        takePinnedChip();
        return;
    }
    double air = 0; // 0...1, the mean of all fans
    for (std::size_t i = 0; i < fans_.size(); ++i)
        air += fans_[i] / profile_.fans[i].maxRPM / static_cast<double>(fans_.size());
    const double power = isAsleep_ ? 0.0 : idlePower + loadPower * load_;
    const double conductance = stillAirConductance + fanConductance * air;
    const double rest = ambientCelsius + power / conductance;
    chipCelsius_ += (rest - chipCelsius_) * (1 - std::exp(-seconds * heatSpeed_ * conductance / heatCapacity));
}

/// The chip keeps its temperature if the key has been removed or its value is not a temperature.
void SimulatedMac::takePinnedChip() {
    if (!controller_.has(profile_.chipKey))
        return;
    const double celsius = controller_.number(profile_.chipKey);
    if (std::isfinite(celsius))
        chipCelsius_ = celsius;
}

void SimulatedMac::publish() {
    for (std::size_t i = 0; i < fans_.size(); ++i)
        publish(fanKey(i, "Ac"), fans_[i]);
    publish(profile_.chipKey, chipCelsius_);
    const double enclosure = ambientCelsius + (chipCelsius_ - ambientCelsius) / 4;
    for (const auto* key : {"Ts0S", "Ts1P", "TW0P"})
        publish(key, enclosure);
}

/// Sets a key unless it has been removed or pinned.
void SimulatedMac::publish(const std::string& key, double value) {
    if (controller_.has(key) && !pinned_.contains(key))
        controller_.setNumber(key, value);
}

} // namespace kelo
