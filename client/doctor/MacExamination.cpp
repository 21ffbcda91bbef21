#include "client/doctor/Examination.h"

namespace kelo {
namespace {

const std::string helperPath = "/Library/PrivilegedHelperTools/app.kelo.helper";
const std::string plistPath = "/Library/LaunchDaemons/app.kelo.helper.plist";
const std::string installAgain = "Install Kelo again (a build of your own: ./dev install --identity NAME).";

/// The program of the job; where launchd does not know it, the place where it is installed.
std::string programOf(const std::string& job) {
    const auto program = valueOf(job, "program = ");
    return program.empty() ? helperPath : program;
}

Finding installed(const RunCommand& run, const std::string& job) {
    const auto program = programOf(job);
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
            "The log below says why. Once that is mended: sudo launchctl kickstart system/app.kelo.helper"};
}

/// What a shell would run for this name.
std::string pathOf(const RunCommand& run, const std::string& executable) {
    if (executable.find('/') != std::string::npos)
        return executable;
    const auto found = outputOf(run, {"/usr/bin/which", executable});
    return found.substr(0, found.find('\n'));
}

std::string teamOf(const std::string& signature) {
    const auto team = valueOf(signature, "TeamIdentifier=");
    return team == "not set" ? "" : team;
}

std::string signatureOf(const RunCommand& run, const std::string& file) {
    return outputOf(run, {"/usr/bin/codesign", "-dvv", file});
}

Finding signedBy(const RunCommand& run, const std::string& program, const std::string& executable) {
    const auto verified = run({"/usr/bin/codesign", "--verify", "--strict", program});
    if (!verified || verified->status != 0)
        return {Verdict::bad, "signed", "The helper's signature is not valid.", installAgain};
    const auto signature = signatureOf(run, program);
    const auto team = teamOf(signature);
    if (team.empty())
        return {Verdict::bad, "signed", "The helper's signature names no team: it serves nobody.",
                "Sign it with an identity that has a team (a build of your own: ./dev install --identity NAME)."};
    const auto own = teamOf(signatureOf(run, pathOf(run, executable)));
    if (own != team)
        return {Verdict::bad, "signed",
                "The helper is of team " + team + ", this kelo of " + (own.empty() ? "none" : "team " + own) +
                    ": they do not talk to each other.",
                "Use the kelo that came with the helper."};
    const auto authority = valueOf(signature, "Authority=");
    return {Verdict::good, "signed", authority.empty() ? "team " + team : authority, ""};
}

} // namespace

Findings examineMac(const RunCommand& run, const std::string& executable) {
    const auto job = outputOf(run, {"/bin/launchctl", "print", "system/app.kelo.helper"});
    Findings findings = {installed(run, job)};
    if (findings.front().verdict == Verdict::bad)
        return findings;
    findings.push_back(running(job));
    findings.push_back(signedBy(run, programOf(job), executable));
    return findings;
}

Finding macLog(const RunCommand& run) {
    const auto log = run({"/usr/bin/log", "show", "--last", "1h", "--style", "compact", "--predicate",
                          "subsystem == \"app.kelo.helper\""});
    if (!log || log->status != 0)
        return {Verdict::note, "log", "It cannot be read.", "Run kelo doctor as an administrator of this Mac."};
    auto lines = lastLines(log->output, 5);
    if (lines.starts_with("Timestamp")) // the heading
        lines.erase(0, lines.find('\n') == std::string::npos ? lines.size() : lines.find('\n') + 1);
    if (lines.empty())
        return {Verdict::note, "log", "nothing in the last hour", ""};
    return {Verdict::good, "log", lines, ""};
}

} // namespace kelo
