#pragma once

#include <istream>

#include "simulator/tools/pictures/Picture.h"

namespace kelo::records {

/// The thermal floor's curve, and a hold on a simulated Mac whose chip gets hot and cools down. Virtual time.
PictureData floor();

/// An hour of one hold on a simulated laptop: work, rest, another program, lid, sleep. Virtual time.
PictureData hour();

/// The folders in their layers, and what each may include. `table` is tests/walls/includes.txt.
PictureData architecture(std::istream& table);

} // namespace kelo::records
