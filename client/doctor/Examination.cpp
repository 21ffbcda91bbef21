#include "client/doctor/Examination.h"

#include "client/Commands.h"
#include "client/Readings.h"
#include "client/view/FanText.h"
#include "protocol/KeloHelper.h"

namespace kelo {
namespace {

constexpr double patience = 20; // seconds
const std::string reportIt = "report it with what kelo doctor --report prints.";

Finding fanFinding(const FanSnapshot& snapshot) {
    if (snapshot.fanCount == 0)
        return {Verdict::bad, "fans", "The controller reports no usable fan.",
                "Kelo cannot hold fans on this Mac; the system keeps controlling them. If it has fans, " + reportIt};
    return {Verdict::good, "fans",
            std::to_string(snapshot.fanCount) + (snapshot.fanCount == 1 ? " fan, " : " fans, ") +
                decimal(snapshot.minRPM, 0) + " to " + decimal(snapshot.maxRPM, 0) + " RPM",
            ""};
}

Finding chipFinding(const FanSnapshot& snapshot) {
    if (!snapshot.chipCelsius)
        return {Verdict::note, "chip",
                "Its temperature cannot be read: a hold does not raise the fans when it gets hot.",
                "Hold only speeds that are enough for full load, and " + reportIt};
    return {Verdict::good, "chip", decimal(*snapshot.chipCelsius, 1) + " degrees, " + snapshot.warmth, ""};
}

Finding holderFinding(const FanSnapshot& snapshot) {
    const std::string advice = "kelo hand-back ends any hold at once; after that, kelo doctor also tries a hold.";
    if (snapshot.lidHasFan)
        return {Verdict::note, "held by",
                "nobody now; a hold is waiting: the lid is closed, or the fans could not be taken again", advice};
    if (snapshot.underKeloControl)
        return {Verdict::note, "held by", "a client of the helper, or another program that controls fans", advice};
    return {Verdict::good, "held by", "nobody: the system controls the fans", ""};
}

/// Holds the fans briefly and reports whether that succeeds. The caller makes sure that no client holds them, since
/// that client would lose its hold.
void tryHold(HelperConnection& helper, const FanSnapshot& snapshot, const Report& report) {
    if (const auto error = helper.ask(requests::Hold{fractionOfRange(snapshot.targetRPM, snapshot).value_or(0), false}))
        return report(
            {Verdict::bad, "hold", *error,
             "If the system manages cooling itself right now, try again in some minutes. If the problem persists, " +
                 reportIt});
    try {
        commands::returnFans(helper);
        report({Verdict::good, "hold", "the fans were held for a moment and handed back", ""});
    } catch (const HelperRefused& refused) {
        report({Verdict::bad, "hand-back", refused.what(), "If the problem persists, " + reportIt});
    }
}

void examineFans(HelperConnection& helper, const Report& report) {
    try {
        const auto snapshot = fetchReading(helper).snapshot;
        report(fanFinding(snapshot));
        report(chipFinding(snapshot));
        report(holderFinding(snapshot));
        if (snapshot.fanCount > 0 && !snapshot.underKeloControl && !snapshot.lidHasFan)
            tryHold(helper, snapshot, report);
    } catch (const HelperRefused& refused) {
        report({Verdict::bad, "fans", refused.what(),
                "The log says what the helper found when it started. If this Mac has fans, " + reportIt});
    }
}

} // namespace

std::string outputOf(const RunCommand& run, const std::vector<std::string>& command) {
    const auto ran = run(command);
    return ran && ran->status == 0 ? ran->output : "";
}

std::string valueOf(const std::string& output, const std::string& name) {
    for (auto& line : linesOf(output)) {
        line.erase(0, line.find_first_not_of(" \t"));
        if (line.starts_with(name))
            return line.substr(name.size());
    }
    return "";
}

std::string lastLines(const std::string& text, std::size_t count) {
    auto end = text.find_last_not_of('\n') + 1;
    auto begin = end;
    for (; begin > 0; --begin)
        if (text[begin - 1] == '\n' && --count == 0)
            break;
    return text.substr(begin, end - begin);
}

void examineService(const Surroundings& surroundings, Terminal& terminal, bool isInstalled, const Report& report) {
    PatientConnection helper(surroundings.connect, terminal,
                             {.limit = patience, .onSilence = [&] {
                                  report({Verdict::note, "waiting", "The helper has not answered yet.",
                                          "Wait for up to " + decimal(patience, 0) + " seconds."});
                              }});
    const auto restart = "Stop the helper, so that it hands the fans back: " + surroundings.stopAdvice();
    try {
        const auto version = helper.ask(requests::HelperVersion{});
        report({Verdict::good, "reachable", "the helper answers", ""});
        if (version != KeloHelper::interfaceVersion)
            return report({Verdict::bad, "version", OtherVersion(version).what(),
                           "Install helper and kelo from the same version of Kelo."});
        report({Verdict::good, "version", "interface version " + std::to_string(version) + " on both sides", ""});
        examineFans(helper, report);
    } catch (const HelperUnreachable& unreachable) {
        report({Verdict::bad, "reachable", unreachable.what(),
                isInstalled ? restart + "\nThen run kelo doctor again. If the problem persists, " + reportIt
                            : "Follow the advice above first, then run kelo doctor again."});
    }
}

} // namespace kelo
