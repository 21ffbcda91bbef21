#include "client/doctor/Examination.h"

namespace kelo {
namespace {

std::string folderOf(const std::string& executable) { return executable.substr(0, executable.rfind('/') + 1); }

Finding installed(const RunCommand& run, const std::string& helper) {
    if (outputOf(run, {"ls", "-l", helper}).empty())
        return {Verdict::bad, "installed", "There is no " + helper + ".",
                "./dev stage DIR lays out an installation; use the kelo in there."};
    return {Verdict::good, "installed", helper, ""};
}

Finding simulatedMac(const RunCommand& run, const std::string& simmac) {
    const auto show = run({simmac, "show"});
    if (!show || show->status != 0)
        return {Verdict::bad, "Mac", "The simulated Mac is not running.", "Start it: " + simmac + " serve"};
    return {Verdict::good, "Mac", "the simulated one is running", ""};
}

/// By what each process runs. Those of other users cannot be seen, and the command fails for them.
Finding running(const RunCommand& run, const std::string& helper) {
    const auto found = run({"find", "/proc", "-maxdepth", "2", "-name", "exe", "-lname", helper});
    const auto process = found ? valueOf(found->output, "/proc/") : "";
    if (process.ends_with("/exe"))
        return {Verdict::good, "running", "as process " + process.substr(0, process.find('/')), ""};
    return {Verdict::bad, "running", "The helper is not running.", "Start it: " + helper};
}

Finding signedBy(const RunCommand& run, const std::string& folder, const std::string& helper) {
    const auto anchor = folder + "simulated-mac/anchor.pub";
    const auto verified = run({folder + "simsign", "verify", helper, "--anchor", anchor});
    if (!verified)
        return {Verdict::note, "signed", "There is no simsign beside this program that could tell.", ""};
    if (verified->status != 0)
        return {Verdict::bad, "signed", verified->output.substr(0, verified->output.find('\n')),
                "./dev stage DIR signs helper and kelo; by hand: " + folder + "simsign sign --help"};
    return {Verdict::good, "signed", "by team " + valueOf(verified->output, "team: "), ""};
}

} // namespace

Findings examineDevelopment(const RunCommand& run, const std::string& executable) {
    const auto folder = folderOf(executable);
    const auto helper = folder + "app.kelo.helper";
    Findings findings = {installed(run, helper)};
    if (findings.front().verdict == Verdict::bad)
        return findings;
    findings.push_back(simulatedMac(run, folder + "simmac"));
    findings.push_back(running(run, helper));
    findings.push_back(signedBy(run, folder, helper));
    return findings;
}

Finding developmentLog(const RunCommand& run) {
    const auto log = run({"journalctl", "--no-pager", "--quiet", "-n", "5", "-t", "app.kelo.helper"});
    if (!log || log->status != 0)
        return {Verdict::note, "log", "There is no journal to read it from.",
                "The helper also writes to the terminal that it was started in."};
    const auto lines = lastLines(log->output, 5);
    if (lines.empty())
        return {Verdict::note, "log", "nothing in the journal",
                "The helper also writes to the terminal that it was started in."};
    return {Verdict::good, "log", lines, ""};
}

} // namespace kelo
