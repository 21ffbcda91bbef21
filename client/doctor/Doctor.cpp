#include "client/Commands.h"

#include "client/ExitStatus.h"
#include "client/doctor/Examination.h"

namespace kelo::commands {
namespace {

constexpr std::size_t markColumns = 4;
constexpr std::size_t subjectColumns = 11;

/// The marks that are printed for the verdicts, in the order of `Verdict`.
const Span marks[] = {{"ok", Ink::good}, {"--", Ink::warning}, {"bad", Ink::alarm}};

std::vector<Line> findingLines(const Finding& finding) {
    const auto& mark = marks[static_cast<std::size_t>(finding.verdict)];
    std::vector<Line> lines;
    for (const auto& text : linesOf(finding.text)) {
        const bool isFirst = lines.empty();
        lines.push_back({{padded(isFirst ? mark.text : "", markColumns), mark.ink},
                         {padded(isFirst ? finding.subject : "", subjectColumns), Ink::faint},
                         {text}});
    }
    for (const auto& text : linesOf(finding.advice))
        lines.push_back({{std::string(markColumns + subjectColumns, ' ') + "-> "}, {text, Ink::strong}});
    return lines;
}

/// Replaces the home folder in paths with "~", since the home folder contains the user's name.
std::string withoutHome(std::string text, const std::string& home) {
    if (home.size() > 1)
        for (auto place = text.find(home); place != std::string::npos; place = text.find(home, place))
            text.replace(place, home.size(), "~");
    return text;
}

} // namespace

int doctor(const Surroundings& surroundings, Terminal& terminal, const std::string& version) {
    const auto style = version.empty() ? terminal.style() : Style{};
    int faults = 0;
    int notes = 0;
    if (!version.empty())
        terminal.print(version + "\n" + outputOf(surroundings.run, {"uname", "-srm"}) +
                       (surroundings.isMac ? outputOf(surroundings.run, {"/usr/bin/sw_vers"}) +
                                                 outputOf(surroundings.run, {"/usr/sbin/sysctl", "hw.model"})
                                           : "") +
                       "\n");
    const Report report = [&](const Finding& finding) {
        faults += finding.verdict == Verdict::bad ? 1 : 0;
        notes += finding.verdict == Verdict::note ? 1 : 0;
        for (const auto& line : findingLines(finding))
            terminal.print(
                (version.empty() ? painted(line, style) : withoutHome(painted(line, style), surroundings.home)) + "\n");
    };
    const auto& [connect, run, start, executable, home, isMac] = surroundings;
    (isMac ? examineMac : examineDevelopment)(run, executable, report);
    examineService(surroundings, terminal, faults == 0, report);
    report(isMac ? macLog(run) : developmentLog(run));
    terminal.print(faults > 0  ? "\nFix the lines marked bad, starting with the first.\n"
                   : notes > 0 ? "\nNo fault found. Read the lines marked --.\n"
                               : "\nEverything works.\n");
    return faults == 0 ? exit_status::done : exit_status::failed;
}

} // namespace kelo::commands
