// The input as the life of a hold: messages of the power domain, in any order and number, between ticks, movements of
// the lid and exchanges that fail.

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

#include "core/fan/FanController.h"
#include "core/fan/Rights.h"
#include "core/hold/Clamshell.h"
#include "core/hold/FanHold.h"
#include "core/hold/PowerNotifications.h"
#include "core/hold/PowerWatch.h"
#include "fuzz/FuzzTarget.h"
#include "simulator/model/Profile.h"
#include "simulator/model/SimulatedExchange.h"
#include "testing/VirtualClock.h"
#include "testing/VirtualQueue.h"

namespace {

using kelo::mustHold;
using kelo::PowerMessage;

/// Delivers to the one registration and remembers what was acknowledged.
class FuzzedPower : public kelo::PowerNotifications {
public:
    [[nodiscard]] std::unique_ptr<kelo::PowerRegistration>
    registerForSystemPower(kelo::PowerHandler onMessage) override {
        onMessage_ = std::move(onMessage);
        return std::make_unique<Registration>(*this);
    }

    /// Whether it was acknowledged, once and by its own number.
    bool isAcknowledged(PowerMessage message, std::intptr_t notificationID) {
        acknowledged_.clear();
        onMessage_(message, notificationID);
        return acknowledged_ == std::vector{notificationID};
    }
    bool isAnythingAcknowledged() const { return !acknowledged_.empty(); }

private:
    class Registration : public kelo::PowerRegistration {
    public:
        explicit Registration(FuzzedPower& power) : power_(power) {}
        void allowPowerChange(std::intptr_t notificationID) noexcept override {
            power_.acknowledged_.push_back(notificationID);
        }

    private:
        FuzzedPower& power_;
    };

    kelo::PowerHandler onMessage_;
    std::vector<std::intptr_t> acknowledged_;
};

class FuzzedClamshell : public kelo::Clamshell {
public:
    kelo::ClamshellProperty state = false;
    kelo::ClamshellProperty clamshellState() override { return state; }
};

class EveryRight : public kelo::Rights {
public:
    bool isRoot() override { return true; }
};

/// A hold on a laptop, and what happens to it: two bytes for each event.
class Life {
public:
    Life() {
        watch_.start();
        hold_->start();
    }
    Life(const Life&) = delete;
    Life& operator=(const Life&) = delete;
    ~Life() {
        controller_.clearFaults();
        hold_->stop();
        mustHold(!isAnyFanManual(), "the end gives every fan back");
    }

    void happen(std::uint8_t event, std::uint8_t detail) {
        switch (event % 6) {
        case 0:
            return mustHold(power_.isAcknowledged(PowerMessage::canSystemSleep, detail), "idle sleep is allowed");
        case 1:
            return fallAsleep(detail);
        case 2:
            power_.isAcknowledged(PowerMessage::systemHasPoweredOn, detail);
            return mustHold(!power_.isAnythingAcknowledged(), "waking needs no permission");
        case 3:
            return moveLid(detail);
        case 4:
            return queue_.runFor(detail / 8.0);
        default:
            controller_.failExchange(1 + detail % 64);
            isFaulty_ = true;
        }
    }

private:
    void fallAsleep(std::intptr_t notificationID) {
        mustHold(power_.isAcknowledged(PowerMessage::systemWillSleep, notificationID), "sleep is not held up");
        mustHold(isFaulty_ || !isAnyFanManual(), "no fan is held during sleep");
    }
    void moveLid(std::uint8_t detail) {
        const kelo::ClamshellProperty states[] = {
            std::monostate(), false, true, 1.0, 2.0, kelo::UnconvertibleProperty()};
        lid_.state = states[detail % std::size(states)];
    }
    static kelo::SimulatedController laptop(const double& now) {
        kelo::SimulatedController controller([&now] { return now; });
        kelo::Profile::named("laptop")->defineKeys(controller);
        return controller;
    }
    bool isAnyFanManual() const { return controller_.number("F0Md") != 0 || controller_.number("F1Md") != 0; }

    double now_ = 0;
    kelo::VirtualQueue queue_{now_};
    kelo::VirtualClock clock_{now_};
    kelo::SimulatedController controller_ = laptop(now_);
    kelo::SimulatedExchange exchange_{controller_};
    EveryRight rights_;
    FuzzedPower power_;
    FuzzedClamshell lid_;
    std::shared_ptr<kelo::FanHold> hold_ = std::make_shared<kelo::FanHold>(
        std::make_shared<kelo::FanController>(exchange_, clock_, rights_), 0.5, true, queue_, lid_);
    kelo::PowerWatch watch_{power_, [this] { hold_->systemWillSleep(); }, [this] { hold_->systemDidWake(); }};
    bool isFaulty_ = false; ///< Some exchange has failed, or will.
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Life life;
    for (std::size_t i = 0; i + 1 < size; i += 2)
        life.happen(data[i], data[i + 1]);
    return 0;
}
