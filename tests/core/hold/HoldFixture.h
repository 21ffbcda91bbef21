#pragma once

#include <memory>

#include "core/hold/FanHold.h"
#include "core/hold/PowerWatch.h"
#include "testing/MachineFixture.h"

namespace kelo {

class HoldFixture : public MachineFixture {
protected:
    HoldFixture() {
        takeTrace();
        watch.start();
    }

    std::shared_ptr<FanHold> makeHold(double fraction, bool handsBackOnLidClose = false) {
        auto made = std::make_shared<FanHold>(fans, fraction, handsBackOnLidClose, queue, clamshell);
        made->onEvent = [this](const FanHold::Event& event) { note(event.description()); };
        return made;
    }

    /// Starts a new hold and discards the trace of the start.
    void startHold(double fraction, bool handsBackOnLidClose = false) {
        hold = makeHold(fraction, handsBackOnLidClose);
        hold->start();
        takeTrace();
    }

    /// Lets one period of the repair timer pass.
    void tick() { queue.runFor(2.0); }
    Trace effectsOfTick() {
        takeTrace();
        tick();
        return takeEffects();
    }

    std::shared_ptr<FanController> fans = std::make_shared<FanController>(exchange, clock, rights);
    std::shared_ptr<FanHold> hold;
    PowerWatch watch{power, [this] { hold->systemWillSleep(); }, [this] { hold->systemDidWake(); }};
};

} // namespace kelo
