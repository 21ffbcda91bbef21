#include "client/Commands.h"

#include "client/Readings.h"
#include "client/view/FanText.h"
#include "protocol/KeloHelper.h"

namespace kelo::commands {
namespace {

constexpr std::size_t barColumns = 24;

} // namespace

void status(HelperConnection& helper, Terminal& terminal, bool asJSON) {
    if (asJSON) {
        terminal.print(fetchJSON(helper) + "\n");
        return;
    }
    const auto style = terminal.style();
    std::string text;
    for (const auto& line : gauges(fetchReading(helper), barColumns, style))
        text += painted(line, style) + "\n";
    terminal.print(text);
}

void handBack(HelperConnection& helper, Terminal& terminal) {
    if (const auto error = helper.ask(requests::HandBack{}))
        throw HelperRefused(*error);
    terminal.print("The fan is under automatic control.\n");
}

void version(HelperConnection& helper, Terminal& terminal) {
    const auto version = helper.ask(requests::HelperVersion{});
    const auto text = "The helper's interface version is " + std::to_string(version);
    if (version == KeloHelper::interfaceVersion)
        terminal.print(text + ", the same as this program's.\n");
    else
        terminal.print(text + "; this program's is " + std::to_string(KeloHelper::interfaceVersion) + ".\n");
}

void standDown(HelperConnection& helper, Terminal& terminal) {
    helper.ask(requests::StandDown{});
    terminal.print("The helper is handing the fan back and exiting.\n");
}

} // namespace kelo::commands
