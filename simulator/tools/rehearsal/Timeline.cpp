#include "simulator/tools/rehearsal/Timeline.h"

#include <cmath>

namespace kelo {
namespace {

double rounded(double value, double perUnit) { return std::round(value * perUnit) / perUnit; }

PictureData orNull(const std::optional<double>& rpm) { return rpm ? PictureData(std::round(*rpm)) : PictureData(); }

} // namespace

PictureData Timeline::data(const std::string& title, const std::vector<std::string>& notes) const {
    PictureData data = {{"picture", "timeline"}, {"title", title}, {"timeUnit", "s"}, {"timeStep", 10}};
    data["marks"] = PictureData::array();
    for (const auto& mark : marks_)
        data["marks"].push_back({{"time", rounded(mark.seconds, 100)}, {"text", mark.text}});
    data["spans"] = PictureData::array();
    for (const auto& span : spans_)
        data["spans"].push_back(
            {{"from", rounded(span.from, 100)}, {"to", rounded(span.to, 100)}, {"kind", span.kind}});
    for (const auto& sample : samples_) {
        data["times"].push_back(rounded(sample.seconds, 100));
        data["chip"].push_back(rounded(sample.chipCelsius, 10));
    }
    data["fans"] = PictureData::array();
    for (std::size_t fan = 0; fan < samples_.front().fans.size(); ++fan)
        data["fans"].push_back(fanData(fan));
    data["notes"] = notes;
    return data;
}

PictureData Timeline::fanData(std::size_t fan) const {
    PictureData data = {{"name", "fan " + std::to_string(fan)}, {"maxRPM", samples_.front().fans[fan].maxRPM}};
    for (const auto& sample : samples_) {
        data["rpm"].push_back(std::round(sample.fans[fan].rpm));
        data["held"].push_back(orNull(sample.fans[fan].held));
        data["asked"].push_back(orNull(sample.fans[fan].asked));
    }
    return data;
}

} // namespace kelo
