#pragma once

#include "prove/daemon/FaultyExchange.h"
#include "prove/life/Input.h"
#include "simulator/model/SimulatedController.h"

namespace kelo {

/// Does to a controller, and to the exchanges with it, what an input says. Does nothing for any other input.
void applyToController(const Input& input, SimulatedController& controller, FaultyExchange& exchange);

} // namespace kelo
