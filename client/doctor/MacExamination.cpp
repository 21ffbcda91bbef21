#include "client/doctor/Examination.h"

namespace kelo {
namespace {

const std::string helperPath = "/Library/PrivilegedHelperTools/app.kelo.helper";
const std::string plistPath = "/Library/LaunchDaemons/app.kelo.helper.plist";
const std::string installAgain = "Install Kelo again (your own build: ./dev install --identity NAME).";

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

/// The path of the helper's executable; empty if unknown. If an app has registered the helper, launchd reports only the
/// path within the app, so the full path comes from the helper's process.
std::string programOf(const RunCommand& run, const std::string& job) {
    if (auto program = valueOf(job, "program = "); !program.empty())
        return program;
    if (valueOf(job, "program identifier = ").empty())
        return helperPath;
    const auto process = valueOf(job, "pid = ");
    return process.empty() ? "" : firstLine(outputOf(run, {"/bin/ps", "-p", process, "-o", "comm="}));
}

Finding installed(const RunCommand& run, const std::string& job, const std::string& program) {
    if (program.empty())
        return {Verdict::good, "installed", "in an app, as " + valueOf(job, "program identifier = "), ""};
    if (outputOf(run, {"/bin/ls", "-l", program}).empty())
        return {Verdict::bad, "installed", "There is no " + program + ".", installAgain};
    if (job.empty())
        return {Verdict::bad, "installed", "launchd does not know the helper.",
                "Switch it on in System Settings > General > Login Items, or load it:\n"
                "sudo launchctl bootstrap system " +
                    plistPath};
    return {Verdict::good, "installed", program, ""};
}

Finding running(const std::string& job) {
    const auto process = valueOf(job, "pid = ");
    if (!process.empty())
        return {Verdict::good, "running", "as process " + process, ""};
    const auto last = valueOf(job, "last exit code = ");
    if (last.empty() || last == "0" || last == "(never exited)")
        return {Verdict::good, "running", "not now; launchd starts it for the next client", ""};
    return {Verdict::bad, "running", "no; its last exit code is " + last,
            "The log below says why. When that is fixed: sudo launchctl kickstart system/app.kelo.helper"};
}

/// The path of the file that a shell would run for the name `executable`.
std::string pathOf(const RunCommand& run, const std::string& executable) {
    if (executable.find('/') != std::string::npos)
        return executable;
    const auto found = outputOf(run, {"/usr/bin/which", executable});
    return firstLine(found);
}

std::string teamOf(const std::string& signature) {
    const auto team = valueOf(signature, "TeamIdentifier=");
    return team == "not set" ? "" : team;
}

std::string signatureOf(const RunCommand& run, const std::string& file) {
    return outputOf(run, {"/usr/bin/codesign", "-dvv", file});
}

Finding signedBy(const RunCommand& run, const std::string& program, const std::string& executable) {
    if (program.empty())
        return {Verdict::note, "signed", "The file of a helper in an app is unknown while it does not run.",
                "Start it with kelo status, then run kelo doctor again."};
    const auto verified = run({"/usr/bin/codesign", "--verify", "--strict", program});
    if (!verified || verified->status != 0)
        return {Verdict::bad, "signed", "The helper's signature is not valid.", installAgain};
    const auto signature = signatureOf(run, program);
    const auto team = teamOf(signature);
    if (team.empty())
        return {Verdict::bad, "signed", "The helper's signature has no team, so the helper serves no client.",
                "Sign it with an identity that has a team (your own build: ./dev install --identity NAME)."};
    const auto own = teamOf(signatureOf(run, pathOf(run, executable)));
    if (own != team)
        return {Verdict::bad, "signed",
                "The helper is signed by team " + team + ", this kelo by " + (own.empty() ? "no team" : "team " + own) +
                    ": the helper refuses it.",
                "Use the kelo that came with the helper."};
    return {Verdict::good, "signed", "both by team " + team, ""};
}

} // namespace

void examineMac(const RunCommand& run, const std::string& executable, const Report& report) {
    const auto job = outputOf(run, {"/bin/launchctl", "print", "system/app.kelo.helper"});
    const auto program = programOf(run, job);
    const auto found = installed(run, job, program);
    report(found);
    if (found.verdict == Verdict::bad)
        return;
    report(running(job));
    report(signedBy(run, program, executable));
}

Finding macLog(const RunCommand& run) {
    const auto log = run({"/usr/bin/log", "show", "--last", "1h", "--style", "compact", "--predicate",
                          "subsystem == \"app.kelo.helper\""});
    if (!log || log->status != 0)
        return {Verdict::note, "log", "The log cannot be read.", "Run kelo doctor as an administrator of this Mac."};
    std::string messages;
    for (const auto& line : linesOf(log->output))
        if (!line.starts_with("Filtering") && !line.starts_with("Skipping") && !line.starts_with("Timestamp"))
            messages += line + "\n";
    if (messages.empty())
        return {Verdict::note, "log", "nothing in the last hour",
                "To see more: log show --last 1d --predicate 'subsystem == \"app.kelo.helper\"'"};
    return {Verdict::good, "log", lastLines(messages, 5), ""};
}

} // namespace kelo
