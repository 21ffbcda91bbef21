#pragma once

#include "simulator/link/HardwareCalls.h"

namespace kelo {

/// The seconds from `start`, on the Mac's clock, until the last fan was automatic for good. No fan may be manual, and
/// nobody but the helper may have given one back.
double untilAutomatic(const hardware_calls::MacState& mac, double start);

} // namespace kelo
