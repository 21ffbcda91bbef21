#include "simulator/tools/pictures/Records.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "core/hold/ThermalFloor.h"
#include "simulator/tools/pictures/HeldMac.h"

namespace kelo::records {
namespace {

/// To so many places, so that data stay readable.
double rounded(double value, double perUnit) { return std::round(value * perUnit) / perUnit; }

PictureData curve() {
    auto points = PictureData::array();
    points.push_back({89.0, rounded(ThermalFloor::fraction(std::nextafter(89.0, 90.0)), 1000)});
    for (double celsius = 90; celsius <= 105; celsius += 1)
        points.push_back({celsius, rounded(ThermalFloor::fraction(celsius), 1000)});
    return points;
}

PictureData point(double celsius) {
    const double fraction = ThermalFloor::fraction(celsius);
    std::ostringstream text;
    text << celsius << " °C: " << std::round(fraction * 100) << " %";
    return {celsius, rounded(fraction, 1000), text.str()};
}

PictureData easing() {
    constexpr double asked = 0.3;
    HeldMac held(asked, false);
    PictureData data = {{"asked", asked}};
    const auto chipAt = [](double seconds) { return seconds >= 20 && seconds < 50 ? 98.0 : 60.0; };
    held.mac.pin("Tp09", chipAt(0));
    held.start();
    for (double time = 0; time <= 100; time += 1) {
        held.mac.pin("Tp09", chipAt(time));
        held.runFor(time - held.now());
        data["times"].push_back(time);
        data["chip"].push_back(chipAt(time));
        data["held"].push_back(rounded((held.number("F0Tg") - held.minRPM()) / (held.maxRPM() - held.minRPM()), 1000));
    }
    return data;
}

/// What is done to the Mac in the hour.
struct Step {
    double minute;
    const char* text;
    std::function<void(HeldMac&)> perform;
};

std::vector<Step> stepsOfTheHour() {
    const auto load = [](double share) { return [share](HeldMac& held) { held.mac.setLoad(share); }; };
    const auto lid = [](bool isClosed) { return [isClosed](HeldMac& held) { held.clamshell.state = isClosed; }; };
    return {
        {2, "hold at 40 %", [](HeldMac& held) { held.start(); }},
        {8, "full load", load(1)},
        {20, "rest", load(0.1)},
        {27, "another program: 5500 RPM", [](HeldMac& held) { held.mac.interfereWithSpeed(0, 5500); }},
        {35, "lid closed", lid(true)},
        {40, "lid open", lid(false)},
        {44, "sleep", [](HeldMac& held) { held.sleep(); }},
        {49, "wake", [](HeldMac& held) { held.wake(); }},
        {53, "some load", load(0.7)},
    };
}

void sample(HeldMac& held, PictureData& data, PictureData& fan, double asked) {
    data["times"].push_back(rounded(held.now() / 60, 1000));
    data["chip"].push_back(rounded(held.number("Tp09"), 10));
    fan["rpm"].push_back(std::round(held.number("F0Ac")));
    fan["held"].push_back(held.isHeld() ? PictureData(std::round(held.number("F0Tg"))) : PictureData());
    fan["asked"].push_back(held.now() >= 120 ? PictureData(asked) : PictureData());
}

} // namespace

PictureData floor() {
    return {
        {"picture", "floor"},
        {"title", "The thermal floor"},
        {"curve", curve()},
        {"points", {point(96), point(101)}},
        {"easing", easing()},
        {"curveNote", "At 89 °C itself there is none yet; just above, it starts with 4 %."},
        {"notes",
         {"The floor is that of the mean of the last 8 readings of the chip: that is why it follows late.",
          "What is held may rise at once, and falls by 2 % of the range at most from one reading to the next. There is "
          "a reading every 2 seconds,",
          "and one more whenever the fans are told a new target: hence 4 %."}}};
}

PictureData hour() {
    constexpr double fraction = 0.4;
    HeldMac held(fraction, true);
    held.mac.setLoad(0.1);
    PictureData data = {{"picture", "timeline"}, {"title", "An hour of one hold, on a simulated Mac"}};
    PictureData fan = {{"name", "fan 0"}, {"maxRPM", held.maxRPM()}};
    const auto steps = stepsOfTheHour();
    auto next = steps.begin();
    data["marks"] = PictureData::array();
    for (int second = 0; second <= 3600; second += 10) {
        held.runFor(second - held.now());
        for (; next != steps.end() && next->minute * 60 <= second; ++next) {
            next->perform(held);
            data["marks"].push_back({{"time", next->minute}, {"text", next->text}});
        }
        sample(held, data, fan, held.minRPM() + (held.maxRPM() - held.minRPM()) * fraction);
    }
    data["fans"] = PictureData::array({fan});
    data["spans"] = {{{"from", 35}, {"to", 40}, {"kind", "lid"}}, {{"from", 44}, {"to", 49}, {"kind", "sleep"}}};
    data["timeUnit"] = "min";
    data["timeStep"] = 5;
    data["notes"] = PictureData::array(
        {"Virtual time, one sample in 10 seconds. What another program has done lasts until the next look, "
         "2 seconds at most; lids are seen as late."});
    return data;
}

PictureData architecture(std::istream& table) {
    std::vector<PictureData> layers; // from the lowest
    std::map<std::string, std::size_t> layerOf;
    for (std::string line; std::getline(table, line);) {
        const auto colon = line.find(':');
        const auto name = line.substr(line.starts_with("# ") ? 2 : 0, colon - (line.starts_with("# ") ? 2 : 0));
        if (name == "Tests")
            break;
        if (colon == std::string::npos || line.starts_with("never "))
            continue;
        if (line.starts_with("#")) {
            layers.push_back({{"name", name}, {"note", line.substr(colon + 2)}, {"folders", PictureData::array()}});
            continue;
        }
        if (layers.empty())
            throw std::invalid_argument("the table does not begin with a layer");
        layerOf[name] = layers.size();
        auto includes = PictureData::array();
        std::istringstream words(line.substr(colon + 1));
        for (std::string word; words >> word;)
            includes.push_back(word);
        layers.back()["folders"].push_back({{"name", name}, {"includes", includes}});
    }
    for (std::size_t layer = 0; layer < layers.size(); ++layer)
        for (auto& folder : layers[layer]["folders"])
            for (auto& include : folder["includes"])
                if (const auto found = layerOf.find(include.get<std::string>());
                    found != layerOf.end() && found->second > layer + 1)
                    include = "↑ " + include.get<std::string>();
    std::reverse(layers.begin(), layers.end());
    return {{"picture", "architecture"},
            {"title", "The folders, and what each may include"},
            {"notes",
             {"Each box names the folders whose headers it may include: those of its own layer or of a lower one; what "
              "lies higher is marked with ↑. Everybody",
              "has the C++ standard library; <system> is any header of an operating system. A test compares every "
              "#include with the table that this is drawn from."}},
            {"layers", layers}};
}

} // namespace kelo::records
