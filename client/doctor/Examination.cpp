#include "client/doctor/Examination.h"

#include <sstream>

#include "client/Readings.h"
#include "client/view/FanText.h"

namespace kelo {
namespace {

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

/// The sentence of one of this program's messages.
std::string sentenceOf(const std::string& message) {
    const std::string name = "kelo: ";
    const auto line = firstLine(message);
    return line.starts_with(name) ? line.substr(name.size()) : line;
}

Finding fanFinding(const FanSnapshot& snapshot) {
    if (snapshot.fanCount == 0)
        return {Verdict::bad, "fan", "The controller reports no usable fan.",
                "Kelo cannot hold fans on this Mac; it goes on controlling them itself."};
    return {Verdict::good, "fan",
            std::to_string(snapshot.fanCount) + (snapshot.fanCount == 1 ? " fan, " : " fans, ") +
                decimal(snapshot.minRPM, 0) + " to " + decimal(snapshot.maxRPM, 0) + " RPM",
            ""};
}

Finding holderFinding(const FanSnapshot& snapshot) {
    if (snapshot.lidHasFan)
        return {Verdict::note, "held by", "a client of the helper, once the lid is open",
                "kelo hand-back ends any hold at once."};
    if (!snapshot.underKeloControl)
        return {Verdict::good, "held by", "nobody: the system controls the fan", ""};
    return {Verdict::note, "held by", "a client of the helper, or another program that controls fans",
            "kelo hand-back ends any hold at once."};
}

void examineFans(const RunCommand& run, const std::string& executable, Findings& findings) {
    const auto status = run({executable, "status", "--json"});
    try {
        if (!status || status->status != 0)
            throw HelperRefused(status ? sentenceOf(status->output) : "The helper does not tell its readings.");
        const auto snapshot = decodedReading(status->output);
        findings.push_back(fanFinding(snapshot));
        findings.push_back(holderFinding(snapshot));
    } catch (const HelperRefused& refused) {
        findings.push_back(
            {Verdict::bad, "fan", refused.what(), "The helper's log says what it found when it started."});
    }
}

} // namespace

std::string outputOf(const RunCommand& run, const std::vector<std::string>& command) {
    const auto ran = run(command);
    return ran && ran->status == 0 ? ran->output : "";
}

std::string valueOf(const std::string& output, const std::string& name) {
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
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

Findings examineService(const RunCommand& run, const std::string& executable, const std::string& restart) {
    const auto version = run({executable, "version"});
    if (!version)
        return {{Verdict::bad, "reachable", "The helper does not answer.", restart}};
    if (version->status != 0)
        return {{Verdict::bad, "reachable", sentenceOf(version->output),
                 "See what is said above of the installation; if that is good, restart the helper.\n" + restart}};
    Findings findings = {{Verdict::good, "reachable", "the helper answers", ""}};
    const bool isSame = version->output.find("the same as") != std::string::npos;
    findings.push_back({isSame ? Verdict::good : Verdict::bad, "version", firstLine(version->output),
                        isSame ? "" : "Install helper and kelo from the same version of Kelo."});
    examineFans(run, executable, findings);
    return findings;
}

} // namespace kelo
