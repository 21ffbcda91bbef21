#include "client/doctor/Examination.h"

namespace kelo {
namespace {

std::string folderOf(const std::string& executable) { return executable.substr(0, executable.rfind('/') + 1); }

Finding installed(const RunCommand& run, const std::string& helper) {
    if (outputOf(run, {"ls", "-l", helper}).empty())
        return {Verdict::bad, "installed", "There is no " + helper + ".",
                "./dev stage DIR creates an installation; use the kelo in it."};
    return {Verdict::good, "installed", helper, ""};
}

Finding simulatedMac(const RunCommand& run, const std::string& simmac) {
    const auto show = run({simmac, "show"});
    if (!show || show->status != 0)
        return {Verdict::bad, "Mac", "The simulated Mac is not running.", "Start it: " + simmac + " serve"};
    return {Verdict::good, "Mac", "the simulated Mac is running", ""};
}

/// Looks for a process whose executable is the helper. Ignores the status of `find`, which fails for processes of other
/// users.
Finding running(const RunCommand& run, const std::string& helper) {
    const auto found = run({"find", "/proc", "-maxdepth", "2", "-name", "exe", "-lname", helper});
    const auto process = found ? valueOf(found->output, "/proc/") : "";
    if (process.ends_with("/exe"))
        return {Verdict::good, "running", "as process " + process.substr(0, process.find('/')), ""};
    return {Verdict::bad, "running", "The helper is not running.", "Start it: " + helper};
}

Finding signedBy(const RunCommand& run, const std::string& folder, const std::string& helper,
                 const std::string& executable) {
    const auto verify = [&](const std::string& file) {
        return run({folder + "simsign", "verify", file, "--anchor", folder + "simulated-mac/anchor.pub"});
    };
    const std::string signAgain =
        "./dev stage DIR signs helper and kelo; to sign one file: " + folder + "simsign sign --help";
    const auto ofHelper = verify(helper);
    const auto ofClient = verify(executable);
    if (!ofHelper || !ofClient)
        return {Verdict::note, "signed", "There is no simsign next to this program, so the signatures are unknown.",
                "Run kelo in a folder that ./dev stage DIR has created."};
    for (const auto* verified : {&*ofHelper, &*ofClient})
        if (verified->status != 0)
            return {Verdict::bad, "signed", verified->output.substr(0, verified->output.find('\n')), signAgain};
    const auto team = valueOf(ofHelper->output, "team: ");
    const auto own = valueOf(ofClient->output, "team: ");
    if (team != own)
        return {Verdict::bad, "signed",
                "The helper is signed by team " + team + ", this kelo by team " + own + ": the helper refuses it.",
                signAgain};
    return {Verdict::good, "signed", "both by team " + team, ""};
}

} // namespace

void examineDevelopment(const RunCommand& run, const std::string& executable, const Report& report) {
    const auto folder = folderOf(executable);
    const auto helper = folder + "app.kelo.helper";
    const auto found = installed(run, helper);
    report(found);
    if (found.verdict == Verdict::bad)
        return;
    report(simulatedMac(run, folder + "simmac"));
    report(running(run, helper));
    report(signedBy(run, folder, helper, executable));
}

Finding developmentLog(const RunCommand& run) {
    const auto log = run({"journalctl", "--no-pager", "--no-hostname", "--quiet", "-n", "5", "-t", "app.kelo.helper"});
    if (!log || log->status != 0)
        return {Verdict::note, "log", "The journal is not available.",
                "The helper also writes to the terminal that it was started in."};
    const auto lines = lastLines(log->output, 5);
    if (lines.empty())
        return {Verdict::note, "log", "nothing in the journal",
                "The helper also writes to the terminal that it was started in."};
    return {Verdict::good, "log", lines, ""};
}

} // namespace kelo
