#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace kelo {

/// Recorded data of a picture. The member "picture" is the kind of picture. The order of members is preserved.
using PictureData = nlohmann::ordered_json;

/// Data as stored in a file: JSON with each top-level member on a separate line.
std::string textOf(const PictureData& data);

/// Draws data as an SVG file. Identical data produce identical bytes. If the data are invalid, throws an exception that
/// gives the reason.
std::string drawPicture(const PictureData& data);

namespace pictures {

/// Draws a session or a long hold: fans, chip and events over time.
std::string drawTimeline(const PictureData& data);
/// Draws the thermal floor's curve and a hold that follows it.
std::string drawFloor(const PictureData& data);
/// Draws the duration of each way of handing the fans back.
std::string drawDelays(const PictureData& data);
/// Draws areas, boxes and arrows.
std::string drawDiagram(const PictureData& data);
/// Draws the screen of a terminal.
std::string drawScreen(const PictureData& data);
/// Draws the figures of ./dev bench as shares of their targets.
std::string drawTargets(const PictureData& data);

} // namespace pictures
} // namespace kelo
