#include "simulator/tools/pictures/Picture.h"

#include <stdexcept>

namespace kelo {

std::string textOf(const PictureData& data) {
    std::string text;
    for (const auto& [name, value] : data.items())
        text += (text.empty() ? "{\n \"" : ",\n \"") + name + "\": " + value.dump();
    return text + "\n}\n";
}

std::string drawPicture(const PictureData& data) {
    const auto kind = data.at("picture").get<std::string>();
    if (kind == "timeline")
        return pictures::drawTimeline(data);
    if (kind == "floor")
        return pictures::drawFloor(data);
    if (kind == "delays")
        return pictures::drawDelays(data);
    if (kind == "diagram")
        return pictures::drawDiagram(data);
    if (kind == "screen")
        return pictures::drawScreen(data);
    if (kind == "targets")
        return pictures::drawTargets(data);
    throw std::invalid_argument("unknown kind of picture: " + kind);
}

} // namespace kelo
