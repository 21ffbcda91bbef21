#pragma once

#include "simulator/link/HardwareCalls.h"

namespace kelo {

class SimulatedMac;

/// The simulated Mac as it is shown to its user.
namespace mac_views {

std::vector<hardware_calls::FanState> fans(SimulatedMac& mac);
/// Of every key that holds one.
std::map<std::string, double> temperatures(SimulatedMac& mac);
/// The newest writes that were carried out, in order.
std::vector<hardware_calls::Write> writes(SimulatedMac& mac);

} // namespace mac_views
} // namespace kelo
