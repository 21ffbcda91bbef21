#include "client/Commands.h"

#include "client/Readings.h"
#include "client/view/FanText.h"
#include "protocol/KeloHelper.h"

namespace kelo::commands {
namespace {

constexpr std::size_t barColumns = 24;

std::string gaugesText(const FanSnapshot& snapshot, const Style& style) {
    auto lines = gauges(snapshot, barColumns, style);
    if (snapshot.fanCount > 0)
        lines.push_back(labelled(
            "range",
            decimal(snapshot.minRPM, 0) + " to " + decimal(snapshot.maxRPM, 0) + " RPM" +
                (snapshot.fanCount > 1 ? " (fastest of " + std::to_string(snapshot.fanCount) + " fans)" : "")));
    lines.push_back(labelled("control", controlText(snapshot)));
    std::string text;
    for (const auto& line : lines)
        text += painted(line, style) + "\n";
    return text;
}

} // namespace

void status(HelperConnection& helper, Terminal& terminal, StatusForm form) {
    const auto reading = fetchReading(helper);
    switch (form) {
    case StatusForm::gauges:
        return terminal.print(gaugesText(reading.snapshot, terminal.style()));
    case StatusForm::line:
        return terminal.print(statusBarText(reading.snapshot, terminal.style()) + "\n");
    case StatusForm::json:
        return terminal.print(reading.json + "\n");
    }
}

void returnFans(HelperConnection& helper) {
    if (const auto error = helper.ask(requests::HandBack{}))
        throw HelperRefused(*error);
    bool isManual = false;
    try {
        isManual = fetchReading(helper).snapshot.underKeloControl;
    } catch (const HelperRefused&) {
        throw HelperRefused("The helper has handed the fans back, but no reading confirms it: this Mac has no "
                            "controllable fan, or its readings are not available.");
    }
    if (isManual)
        throw HelperRefused("A fan is still in manual mode: the controller has not taken it back. Run kelo hand-back "
                            "again; if that does not help, restart the Mac.");
}

void handBack(HelperConnection& helper, Terminal& terminal) {
    returnFans(helper);
    terminal.print("The fans are under automatic control.\n");
}

void version(HelperConnection& helper, Terminal& terminal) {
    const auto version = helper.ask(requests::HelperVersion{});
    if (version != KeloHelper::interfaceVersion)
        throw OtherVersion(version);
    terminal.print("The helper's interface version is " + std::to_string(version) + ", the same as this program's.\n");
}

void standDown(HelperConnection& helper, Terminal& terminal) {
    helper.ask(requests::StandDown{});
    terminal.print("The helper is handing the fans back and exiting.\n");
}

} // namespace kelo::commands
