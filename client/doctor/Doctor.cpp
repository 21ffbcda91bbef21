#include "client/doctor/Doctor.h"

#include <sstream>

#include "client/doctor/Examination.h"

namespace kelo::commands {
namespace {

constexpr std::size_t markColumns = 4;
constexpr std::size_t subjectColumns = 11;

Span markOf(Verdict verdict) {
    switch (verdict) {
    case Verdict::good:
        return {"ok", Ink::good};
    case Verdict::note:
        return {"--", Ink::warning};
    case Verdict::bad:
        break;
    }
    return {"!!", Ink::alarm};
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::vector<Line> linesOf(const Finding& finding) {
    const auto mark = markOf(finding.verdict);
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

Findings examine(const RunCommand& run, const std::string& executable) {
    const bool isMac = outputOf(run, {"uname", "-s"}).starts_with("Darwin");
    auto findings = isMac ? examineMac(run, executable) : examineDevelopment(run, executable);
    const auto service = examineService(run, executable,
                                        isMac ? "Restart it: sudo launchctl kickstart -k system/app.kelo.helper"
                                              : "End the helper with Ctrl-C or SIGTERM, and start it again.");
    findings.insert(findings.end(), service.begin(), service.end());
    findings.push_back(isMac ? macLog(run) : developmentLog(run));
    return findings;
}

} // namespace

int doctor(const RunCommand& run, const std::string& executable, Terminal& terminal) {
    const auto style = terminal.style();
    int faults = 0;
    for (const auto& finding : examine(run, executable)) {
        faults += finding.verdict == Verdict::bad ? 1 : 0;
        for (const auto& line : linesOf(finding))
            terminal.print(painted(line, style) + "\n");
    }
    if (faults == 0)
        terminal.print("\nEverything works.\n");
    else
        terminal.print("\nWhat is marked with !! needs something done; begin with the first.\n");
    return faults == 0 ? 0 : 1;
}

} // namespace kelo::commands
