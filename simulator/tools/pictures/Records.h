#pragma once

#include "simulator/tools/pictures/Picture.h"

namespace kelo::records {

/// Records the thermal floor's curve, and a hold on a simulated Mac whose chip gets hot and cools down, in virtual
/// time.
PictureData floor();

/// Records an hour of one hold on a simulated laptop: load, rest, another program, lid and sleep, in virtual time.
PictureData hour();

} // namespace kelo::records
