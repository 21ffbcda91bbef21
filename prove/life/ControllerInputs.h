#pragma once

#include "prove/daemon/FaultyExchange.h"
#include "prove/life/Input.h"
#include "simulator/model/SimulatedController.h"

namespace kelo {

/// Applies an input to a controller and the exchanges with it. Ignores inputs for anything else.
void applyToController(const Input& input, SimulatedController& controller, FaultyExchange& exchange);

} // namespace kelo
