#include "simulator/tools/pictures/Records.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "core/fan/FanController.h"
#include "core/hold/FanHold.h"
#include "core/hold/ThermalFloor.h"
#include "simulator/model/Profile.h"
#include "simulator/model/SimulatedExchange.h"
#include "simulator/model/SimulatedMac.h"
#include "testing/ScriptedClamshell.h"
#include "testing/ScriptedRights.h"
#include "testing/VirtualClock.h"
#include "testing/VirtualQueue.h"

namespace kelo::records {
namespace {

/// A hold on a simulated laptop, in virtual time.
class HeldMac {
public:
    HeldMac(double fraction, bool handsBackOnLidClose)
        : hold_(std::make_shared<FanHold>(controller_, fraction, handsBackOnLidClose, queue_, clamshell)) {}
    ~HeldMac() { hold_->stop(); }
    HeldMac(const HeldMac&) = delete;
    HeldMac& operator=(const HeldMac&) = delete;

    void start() { hold_->start(); }
    void runFor(double seconds) { queue_.runFor(seconds); }
    double now() const { return now_; }
    double minRPM() const { return profile_.fans.front().minRPM; }
    double maxRPM() const { return profile_.fans.front().maxRPM; }
    double number(const std::string& key) { return mac.controller().number(key); }
    bool isHeld() { return number("F0Md") != 0; }

    void sleep() {
        hold_->systemWillSleep();
        mac.setAsleep(true);
    }
    void wake() {
        mac.setAsleep(false);
        hold_->systemDidWake();
    }

private:
    double now_ = 0;
    const Profile profile_ = Profile::all().front();

public:
    SimulatedMac mac{profile_, [this] { return now_; }};
    ScriptedClamshell clamshell;

private:
    SimulatedExchange exchange_{mac};
    VirtualClock clock_{now_};
    ScriptedRights rights_;
    VirtualQueue queue_{now_};
    std::shared_ptr<FanController> controller_ = std::make_shared<FanController>(exchange_, clock_, rights_);
    std::shared_ptr<FanHold> hold_;
};

/// Rounds to a multiple of 1/`perUnit`, so that the data stay readable.
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
    return {{"picture", "floor"},
            {"title", "The thermal floor"},
            {"curve", curve()},
            {"points", {point(96), point(101)}},
            {"easing", easing()},
            {"curveNote", "There is no floor up to 89 °C; just above, it starts at 4 %."},
            {"notes",
             {"The floor follows the mean of the last 8 readings of the chip, so it rises some seconds after the chip.",
              "The held speed rises at once and falls by at most 2 % of the range for each reading. There is a reading "
              "every 2 seconds,",
              "and one more for each new target, so that it usually falls by 4 % in 2 seconds."}}};
}

PictureData hour() {
    constexpr double fraction = 0.4;
    HeldMac held(fraction, true);
    held.mac.setLoad(0.1);
    PictureData data = {{"picture", "timeline"}, {"title", "An hour of a hold on a simulated Mac"}};
    PictureData fan = {{"name", "fan 0"}, {"maxRPM", held.maxRPM()}};
    const auto steps = stepsOfTheHour();
    auto next = steps.begin();
    data["marks"] = PictureData::array();
    int lastStep = 0;
    for (int second = 0; second <= 3600; ++second) {
        held.runFor(second - held.now());
        for (; next != steps.end() && next->minute * 60 <= second; ++next) {
            next->perform(held);
            data["marks"].push_back({{"time", next->minute}, {"text", next->text}});
            lastStep = second;
        }
        if (second % 10 == 0 || second - lastStep < 10) // so that an event of 2 seconds is drawn as 2 seconds
            sample(held, data, fan, held.minRPM() + (held.maxRPM() - held.minRPM()) * fraction);
    }
    data["fans"] = PictureData::array({fan});
    data["spans"] = {{{"from", 35}, {"to", 40}, {"kind", "lid"}}, {{"from", 44}, {"to", 49}, {"kind", "sleep"}}};
    data["timeUnit"] = "min";
    data["timeStep"] = 5;
    data["notes"] = PictureData::array(
        {"Virtual time. The helper undoes another program's change and notices the lid within 2 seconds."});
    return data;
}

} // namespace kelo::records
