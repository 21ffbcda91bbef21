#include "simulator/tools/rehearsal/Timeline.h"

#include <cmath>

namespace kelo {
namespace {

double rounded(double value, double perUnit) { return std::round(value * perUnit) / perUnit; }

PictureData orNull(const std::optional<double>& rpm) { return rpm ? PictureData(std::round(*rpm)) : PictureData(); }

} // namespace

Timeline::Timeline(const std::string& title)
    : data_{{"picture", "timeline"}, {"title", title}, {"timeUnit", "s"}, {"timeStep", 10}} {
    for (const auto* member : {"marks", "spans", "times", "chip", "fans"}) // defines their order in the file
        data_[member] = PictureData::array();
}

void Timeline::add(double seconds, const std::vector<FanSample>& fans, double chipCelsius) {
    data_["times"].push_back(rounded(seconds, 100));
    data_["chip"].push_back(rounded(chipCelsius, 10));
    for (std::size_t i = 0; i < fans.size(); ++i) {
        auto& fan = data_["fans"][i];
        if (fan.is_null())
            fan = {{"name", "fan " + std::to_string(i)}, {"maxRPM", fans[i].maxRPM}};
        fan["rpm"].push_back(std::round(fans[i].rpm));
        fan["held"].push_back(orNull(fans[i].held));
        fan["asked"].push_back(orNull(fans[i].asked));
    }
}

void Timeline::mark(double seconds, const std::string& text) {
    data_["marks"].push_back({{"time", rounded(seconds, 100)}, {"text", text}});
}

void Timeline::span(double from, double to, const std::string& kind) {
    data_["spans"].push_back({{"from", rounded(from, 100)}, {"to", rounded(to, 100)}, {"kind", kind}});
}

PictureData Timeline::data(const std::vector<std::string>& notes) const {
    auto data = data_;
    data["notes"] = notes;
    return data;
}

} // namespace kelo
