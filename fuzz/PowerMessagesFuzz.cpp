// Interprets the input as events of a hold: power messages in any number and order, mixed with ticks, lid changes and
// failing exchanges.

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

#include "core/fan/FanController.h"
#include "core/hold/FanHold.h"
#include "core/hold/PowerWatch.h"
#include "fuzz/FuzzTarget.h"
#include "simulator/model/Profile.h"
#include "simulator/model/SimulatedExchange.h"
#include "testing/ScriptedClamshell.h"
#include "testing/ScriptedPower.h"
#include "testing/ScriptedRights.h"
#include "testing/VirtualClock.h"
#include "testing/VirtualQueue.h"

namespace {

using kelo::mustHold;
using kelo::PowerMessage;

/// A hold on a laptop. Two bytes of input define an event.
class Scenario {
public:
    Scenario() {
        watch_.start();
        hold_->start();
    }
    Scenario(const Scenario&) = delete;
    Scenario& operator=(const Scenario&) = delete;
    ~Scenario() {
        controller_.clearFaults();
        hold_->stop();
        mustHold(!isAnyFanManual(), "stopping hands every fan back");
    }

    void apply(std::uint8_t event, std::uint8_t detail) {
        switch (event % 6) {
        case 0:
            return mustHold(isAcknowledged(PowerMessage::canSystemSleep, detail), "idle sleep is allowed");
        case 1:
            return fallAsleep(detail);
        case 2:
            return mustHold(acknowledgementsOf(PowerMessage::systemHasPoweredOn, detail).empty(),
                            "waking needs no permission");
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
    /// Sends a message and returns the notification IDs that were acknowledged.
    std::vector<std::intptr_t> acknowledgementsOf(PowerMessage message, std::intptr_t notificationID) {
        const auto before = std::ssize(power_.allowed());
        power_.send(message, notificationID);
        return {power_.allowed().begin() + before, power_.allowed().end()};
    }
    /// Sends a message and returns whether it was acknowledged exactly once, with its own notification ID.
    bool isAcknowledged(PowerMessage message, std::intptr_t notificationID) {
        return acknowledgementsOf(message, notificationID) == std::vector{notificationID};
    }
    void fallAsleep(std::intptr_t notificationID) {
        mustHold(isAcknowledged(PowerMessage::systemWillSleep, notificationID), "sleep is acknowledged");
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
    kelo::ScriptedRights rights_;
    kelo::ScriptedPower power_;
    kelo::ScriptedClamshell lid_;
    std::shared_ptr<kelo::FanHold> hold_ = std::make_shared<kelo::FanHold>(
        std::make_shared<kelo::FanController>(exchange_, clock_, rights_), 0.5, true, queue_, lid_);
    kelo::PowerWatch watch_{power_, [this] { hold_->systemWillSleep(); }, [this] { hold_->systemDidWake(); }};
    bool isFaulty_ = false; ///< An exchange has failed or will fail.
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Scenario scenario;
    for (std::size_t i = 0; i + 1 < size; i += 2)
        scenario.apply(data[i], data[i + 1]);
    return 0;
}
