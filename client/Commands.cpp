#include "client/Commands.h"

#include <charconv>
#include <locale>
#include <sstream>

#include "protocol/FanSnapshot.h"
#include "protocol/KeloHelper.h"

namespace kelo {
namespace {

constexpr double refreshInterval = 1.0; // seconds

std::string decimal(double number, int digits) {
    char text[400]; // holds any double
    return {text, std::to_chars(text, text + sizeof text, number, std::chars_format::fixed, digits).ptr};
}

Data fetch(HelperConnection& helper) {
    auto json = helper.fetchSnapshot();
    if (!json)
        throw HelperRefused("This Mac has no controllable fan, or its readings are not available.");
    return std::move(*json);
}

FanSnapshot fetchDecoded(HelperConnection& helper) {
    try {
        return FanSnapshot::decoded(fetch(helper));
    } catch (const SnapshotError& error) {
        throw HelperRefused(error.what());
    }
}

std::string controlText(const FanSnapshot& snapshot) {
    if (snapshot.lidHasFan)
        return "handed back while the lid is closed";
    if (!snapshot.underKeloControl)
        return "automatic";
    return snapshot.addingAir ? "held, with added air for a hot chip" : "held";
}

std::string line(const FanSnapshot& snapshot) {
    std::string text;
    if (snapshot.fanCount == 0)
        text = "no usable fan";
    else
        text = decimal(snapshot.currentRPM, 0) + " RPM, target " + decimal(snapshot.targetRPM, 0) + ", range " +
               decimal(snapshot.minRPM, 0) + "..." + decimal(snapshot.maxRPM, 0);
    text += "; " + controlText(snapshot) + "; chip " + snapshot.warmth;
    if (snapshot.chipCelsius)
        text += ", " + decimal(*snapshot.chipCelsius, 1) + " degrees";
    return text;
}

/// The state in one line, or why it is unknown: a reading that is missing for a moment does not end the command.
std::string liveLine(HelperConnection& helper) {
    try {
        return line(fetchDecoded(helper));
    } catch (const HelperRefused& refused) {
        return refused.what();
    }
}

/// Overwrites the last line on a terminal; elsewhere each line stands for itself.
void printLive(Terminal& terminal, const std::string& text) {
    if (terminal.isInteractive)
        terminal.out << "\r\033[K" << text << std::flush;
    else
        terminal.out << text << std::endl;
}

void endLive(Terminal& terminal) {
    if (terminal.isInteractive)
        terminal.out << "\n";
}

} // namespace

std::optional<double> parseFraction(std::string_view text) {
    const bool isPercentage = text.ends_with('%');
    if (isPercentage)
        text.remove_suffix(1);
    // A stream, since not every standard library reads floating-point numbers with from_chars. By default it would also
    // accept blanks, a plus sign and hexadecimal digits.
    if (text.find_first_not_of("0123456789.e-") != std::string_view::npos)
        return std::nullopt;
    std::istringstream stream{std::string(text)};
    stream.imbue(std::locale::classic());
    double number = 0;
    if (!(stream >> number) || stream.peek() != std::istringstream::traits_type::eof())
        return std::nullopt;
    if (isPercentage)
        number /= 100;
    if (!(number >= 0 && number <= 1))
        return std::nullopt;
    return number;
}

namespace commands {

void status(HelperConnection& helper, Terminal& terminal, bool asJSON) {
    if (asJSON) {
        const auto json = fetch(helper);
        terminal.out << std::string(json.begin(), json.end()) << "\n";
        return;
    }
    const auto snapshot = fetchDecoded(helper);
    if (snapshot.fanCount > 0)
        terminal.out << snapshot.fanCount << (snapshot.fanCount == 1 ? " fan: " : " fans; the fastest: ");
    terminal.out << line(snapshot) << "\n";
}

void hold(HelperConnection& helper, Terminal& terminal, double fraction, bool handsBackOnLidClose) {
    if (const auto error = helper.hold(fraction, handsBackOnLidClose))
        throw HelperRefused(*error);
    terminal.out << "Holding at " << fraction * 100 << "%. Ctrl-C hands the fan back." << std::endl;
    do {
        if (terminal.isInteractive)
            printLive(terminal, liveLine(helper));
        else
            (void)helper.helperVersion(); // notices that the helper has gone
    } while (terminal.pause(refreshInterval));
    endLive(terminal);
    handBack(helper, terminal);
}

void handBack(HelperConnection& helper, Terminal& terminal) {
    if (const auto error = helper.handBack())
        throw HelperRefused(*error);
    terminal.out << "The fan is under automatic control.\n";
}

void version(HelperConnection& helper, Terminal& terminal) {
    const auto version = helper.helperVersion();
    terminal.out << "The helper's interface version is " << version;
    if (version == KeloHelper::interfaceVersion)
        terminal.out << ", the same as this program's.\n";
    else
        terminal.out << "; this program's is " << KeloHelper::interfaceVersion << ".\n";
}

void standDown(HelperConnection& helper, Terminal& terminal) {
    helper.standDown();
    terminal.out << "The helper is handing the fan back and exiting.\n";
}

void watch(HelperConnection& helper, Terminal& terminal) {
    do
        printLive(terminal, line(fetchDecoded(helper)));
    while (terminal.pause(refreshInterval));
    endLive(terminal);
}

} // namespace commands
} // namespace kelo
