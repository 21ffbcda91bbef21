#include "client/Hold.h"

#include <algorithm>
#include <limits>
#include <sstream>

#include "client/Commands.h"
#include "client/ExitStatus.h"
#include "client/LiveView.h"
#include "client/Readings.h"

namespace kelo::commands {
namespace {

constexpr double refreshInterval = 1.0; // seconds
constexpr unsigned patience = 5;        // seconds to hand back in: it may take the helper 4 to take a fan

std::string durationText(double seconds) {
    const auto whole = static_cast<long>(seconds);
    std::string text;
    for (const auto& [size, unit] : {std::pair(whole / 3600, "h"), {whole / 60 % 60, "m"}, {whole % 60, "s"}})
        if (size > 0)
            text += (text.empty() ? "" : " ") + std::to_string(size) + " " + unit;
    return text;
}

std::string announcement(const HoldRequest& request) {
    std::ostringstream text;
    text << "Holding at " << request.fraction * 100 << "%";
    if (request.seconds)
        text << " for " << durationText(*request.seconds);
    text << ". Ctrl-C hands the fan back" << (request.seconds ? " sooner." : ".");
    return text.str();
}

/// What has happened since the last look. A reading that is missing for a moment does not end a hold.
std::vector<std::string> look(HelperConnection& helper, LiveView& view) {
    try {
        return view.observe(fetchReading(helper));
    } catch (const HelperRefused& refused) {
        return view.lack(refused.what());
    }
}

/// Until the time is over or the user asks to stop.
void stay(HelperConnection& helper, Terminal& terminal, const HoldRequest& request) {
    const auto end = terminal.now().seconds + request.seconds.value_or(std::numeric_limits<double>::infinity());
    const bool isDrawn = terminal.isInteractive();
    LiveView view(terminal, isDrawn, announcement(request));
    const auto left = [&] { return end - terminal.now().seconds; };
    do {
        const auto news = look(helper, view);
        if (!isDrawn)
            for (const auto& sentence : news)
                terminal.print(sentence + "\n");
    } while (view.wait(std::clamp(left(), 0.0, refreshInterval)) && left() > 0);
}

} // namespace

void hold(HelperConnection& helper, Terminal& terminal, const HoldRequest& request) {
    if (const auto error = helper.ask(requests::Hold{request.fraction, request.handsBackOnLidClose}))
        throw HelperRefused(*error);
    terminal.catchStops(patience, exit_status::unreachable);
    terminal.print(announcement(request) + "\n");
    stay(helper, terminal, request);
    handBack(helper, terminal);
}

} // namespace kelo::commands
