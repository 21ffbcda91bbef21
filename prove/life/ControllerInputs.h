#pragma once

#include "prove/daemon/FaultyExchange.h"
#include "prove/life/Input.h"
#include "simulator/model/SimulatedController.h"

namespace kelo {

/// Applies an input that affects the controller or the exchanges with it. Ignores all other inputs.
void applyToController(const Input& input, SimulatedController& controller, FaultyExchange& exchange);

} // namespace kelo
