#pragma once

#include "simulator/tools/pictures/Picture.h"

namespace kelo::records {

/// The thermal floor's curve, and a hold on a simulated Mac whose chip gets hot and cools down. Virtual time.
PictureData floor();

/// An hour of one hold on a simulated laptop: work, rest, another program, lid, sleep. Virtual time.
PictureData hour();

} // namespace kelo::records
