#pragma once

#include "prove/daemon/FaultyExchange.h"
#include "prove/life/Input.h"
#include "simulator/model/SimulatedController.h"

namespace kelo {

/// Does to a controller, and to the exchanges with it, what an input says. Returns whether it was such an input.
bool applyToController(const Input& input, SimulatedController& controller, FaultyExchange& exchange);

} // namespace kelo
