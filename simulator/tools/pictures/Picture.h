#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace kelo {

/// Data of a picture: what was recorded, with a member "picture" that says of which kind. Members stay in their order.
using PictureData = nlohmann::ordered_json;

/// Data as they are kept: JSON with each of the outermost members on a line of its own.
std::string textOf(const PictureData& data);

/// The picture of some data, as the text of an SVG file. The same data give the same bytes. Throws an exception that
/// says why for data of another form.
std::string drawPicture(const PictureData& data);

namespace pictures {

/// A session or a long hold: fans, chip and what happened over time.
std::string drawTimeline(const PictureData& data);
/// The thermal floor's curve, and a hold that follows it.
std::string drawFloor(const PictureData& data);
/// How long each way out took.
std::string drawDelays(const PictureData& data);
/// Areas, boxes and arrows.
std::string drawDiagram(const PictureData& data);
/// The screen of a terminal.
std::string drawScreen(const PictureData& data);
/// Figures as shares of their targets, as ./dev bench leaves them.
std::string drawTargets(const PictureData& data);

} // namespace pictures
} // namespace kelo
