#pragma once

#include <cmath>
#include <memory>
#include <string>

#include "core/fan/FanController.h"
#include "core/hold/FanHold.h"
#include "simulator/model/Profile.h"
#include "simulator/model/SimulatedExchange.h"
#include "simulator/model/SimulatedMac.h"
#include "testing/ScriptedClamshell.h"
#include "testing/ScriptedRights.h"
#include "testing/VirtualClock.h"
#include "testing/VirtualQueue.h"

namespace kelo {

/// A hold on a simulated laptop, in virtual time.
class HeldMac {
public:
    HeldMac(double fraction, bool handsBackOnLidClose)
        : hold_(std::make_shared<FanHold>(controller_, fraction, handsBackOnLidClose, queue_, clamshell)) {}
    ~HeldMac() { hold_->stop(); }
    HeldMac(const HeldMac&) = delete;
    HeldMac& operator=(const HeldMac&) = delete;

    void start() { hold_->start(); }
    void runFor(double seconds) { queue_.runFor(seconds); }
    double now() const { return now_; }
    double minRPM() const { return profile_.fans.front().minRPM; }
    double maxRPM() const { return profile_.fans.front().maxRPM; }
    double number(const std::string& key) { return mac.controller().number(key); }
    bool isHeld() { return number("F0Md") != 0; }

    void sleep() {
        hold_->systemWillSleep();
        mac.setAsleep(true);
    }
    void wake() {
        mac.setAsleep(false);
        hold_->systemDidWake();
    }

private:
    double now_ = 0;
    const Profile profile_ = Profile::all().front();

public:
    SimulatedMac mac{profile_, [this] { return now_; }};
    ScriptedClamshell clamshell;

private:
    SimulatedExchange exchange_{mac};
    VirtualClock clock_{now_};
    ScriptedRights rights_;
    VirtualQueue queue_{now_};
    std::shared_ptr<FanController> controller_ = std::make_shared<FanController>(exchange_, clock_, rights_);
    std::shared_ptr<FanHold> hold_;
};

} // namespace kelo
