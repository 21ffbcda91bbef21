#pragma once

#include <string>
#include <vector>

#include "core/fan/FanController.h"
#include "simulator/model/Profile.h"
#include "testing/SMCFixture.h"
#include "testing/ScriptedRights.h"
#include "testing/VirtualClock.h"

namespace kelo {

/// The keys of a two-fan laptop and a virtual clock, for tests of the fan controller.
class FanFixture : public SMCFixture {
protected:
    FanFixture() { Profile::named("laptop")->defineKeys(controller); }

    std::vector<std::string> writes() const { return controller.texts(SMCCommand::writeBytes); }
    std::vector<std::string> reads() const { return controller.texts(SMCCommand::readBytes); }

    VirtualClock clock{now};
    ScriptedRights rights;
};

} // namespace kelo
