#include <gmock/gmock.h>

#include <map>

#include "client/Commands.h"
#include "tests/client/ScriptedFans.h"
#include "tests/client/ScriptedTerminal.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// A machine, defined by a table of commands and their output. A command that is not in the table cannot be run.
class DoctorTest : public ::testing::Test {
protected:
    using Commands = std::map<std::string, Ran>;

    DoctorTest() {
        surroundings.fans->fraction = 0;
        surroundings.all.run = [this](const CommandWords& command) -> std::optional<Ran> {
            std::string text;
            for (const auto& word : command)
                text += (text.empty() ? "" : " ") + word;
            const auto known = commands.find(text);
            return known == commands.end() ? std::nullopt : std::optional(known->second);
        };
    }

    int examine(const std::string& version = "") {
        terminal.printed.clear();
        return commands::doctor(surroundings.all, terminal, version);
    }
    void expectFault(const std::string& fault, const std::string& advice) {
        EXPECT_EQ(examine(), 1);
        EXPECT_THAT(terminal.printed, HasSubstr("bad " + fault + "\n"));
        EXPECT_THAT(terminal.printed, HasSubstr("               -> " + advice + "\n"));
        EXPECT_THAT(terminal.printed, Not(HasSubstr("Everything works.")));
    }
    void expectNote(const std::string& note, const std::string& advice) {
        EXPECT_EQ(examine(), 0);
        EXPECT_THAT(terminal.printed, HasSubstr("--  " + note + "\n               -> " + advice));
        EXPECT_THAT(terminal.printed, EndsWith("\nNo fault found. Read the lines marked --.\n"));
    }

    Commands commands;
    ScriptedSurroundings surroundings;
    ScriptedTerminal terminal;
    const std::string reportIt = "report it with what kelo doctor --report prints.";
};

class OnLinux : public DoctorTest {
protected:
    OnLinux() {
        surroundings.all.isMac = false;
        surroundings.all.executable = "/w/kelo";
        commands = {
            {"uname -srm", {0, "Linux 6.1 x86_64\n"}},
            {"ls -l /w/app.kelo.helper", {0, "-rwxr-xr-x 1 me me 99 /w/app.kelo.helper\n"}},
            {"/w/simmac show", {0, "fan 0  automatic\n"}},
            {find, {1, "find: '/proc/1/exe': Permission denied\n/proc/4711/exe\n"}},
            {verify("/w/app.kelo.helper"), {0, "identifier: app.kelo.helper\nteam: KELODEV001\n"}},
            {verify("/w/kelo"), {0, "identifier: app.kelo.Kelo\nteam: KELODEV001\n"}},
            {log, {0, "a\nb\n"}},
        };
    }
    static std::string verify(const std::string& file) {
        return "/w/simsign verify " + file + " --anchor /w/simulated-mac/anchor.pub";
    }

    const std::string find = "find /proc -maxdepth 2 -name exe -lname /w/app.kelo.helper";
    const std::string log = "journalctl --no-pager --no-hostname --quiet -n 5 -t app.kelo.helper";
    const std::string signAgain = "./dev stage DIR signs helper and kelo; to sign one file: /w/simsign sign --help";
};

TEST_F(OnLinux, EverythingWorks) {
    EXPECT_EQ(examine(), 0);
    EXPECT_EQ(terminal.printed, "ok  installed  /w/app.kelo.helper\n"
                                "ok  Mac        the simulated Mac is running\n"
                                "ok  running    as process 4711\n"
                                "ok  signed     both by team KELODEV001\n"
                                "ok  reachable  the helper answers\n"
                                "ok  version    interface version 6 on both sides\n"
                                "ok  fans       2 fans, 1200 to 6000 RPM\n"
                                "ok  chip       61.5 degrees, warm\n"
                                "ok  held by    nobody: the system controls the fans\n"
                                "ok  hold       the fans were held for a moment and handed back\n"
                                "ok  log        a\n"
                                "               b\n"
                                "\nEverything works.\n");
    EXPECT_FALSE(surroundings.fans->isHeld);
}

TEST_F(OnLinux, StopsTheExaminationIfNothingIsInstalled) {
    commands.erase("ls -l /w/app.kelo.helper");
    surroundings.isHelperRunning = false;
    expectFault("installed  There is no /w/app.kelo.helper.",
                "./dev stage DIR creates an installation; use the kelo in it.");
    EXPECT_THAT(terminal.printed, Not(HasSubstr("running    as process")));
    expectFault("reachable  The helper is not running.", "Follow the advice above first, then run kelo doctor again.");
}

TEST_F(OnLinux, ReportsEachInstallationFaultWithAdvice) {
    const auto all = commands;
    commands["/w/simmac show"].status = 1;
    expectFault("Mac        The simulated Mac is not running.", "Start it: /w/simmac serve");
    commands = all;
    commands[find].output = "find: '/proc/1/exe': Permission denied\n";
    expectFault("running    The helper is not running.", "Start it: /w/app.kelo.helper");
    commands = all;
    commands[verify("/w/app.kelo.helper")] = {1, "simsign: The file is not signed.\n"};
    expectFault("signed     simsign: The file is not signed.", signAgain);
    commands = all;
    commands[verify("/w/kelo")].output = "identifier: app.kelo.Kelo\nteam: OTHER00001\n";
    expectFault(
        "signed     The helper is signed by team KELODEV001, this kelo by team OTHER00001: the helper refuses it.",
        signAgain);
}

TEST_F(OnLinux, AdvisesStoppingAnUnreachableHelper) {
    surroundings.isHelperRunning = false;
    expectFault("reachable  The helper is not running.",
                "Stop the helper, so that it hands the fans back: end it with Ctrl-C or SIGTERM\n"
                "               -> Then run kelo doctor again. If the problem persists, " +
                    reportIt);
}

TEST_F(OnLinux, ReportsASilentHelperWhileWaiting) {
    std::string printedMeanwhile;
    terminal.onSilence = [&] {
        printedMeanwhile = terminal.printed;
        return Woken::byTime;
    };
    expectFault("reachable  The helper does not answer.",
                "Stop the helper, so that it hands the fans back: end it with Ctrl-C or SIGTERM");
    EXPECT_THAT(printedMeanwhile, HasSubstr("ok  running    as process 4711\n"))
        << "each finding is printed as soon as it is known";
    EXPECT_THAT(printedMeanwhile, HasSubstr("--  waiting    The helper has not answered yet.\n"));
    EXPECT_EQ(terminal.seconds, 1020);
}

TEST_F(OnLinux, ReportsEachHelperFaultWithAdvice) {
    auto& fans = *surroundings.fans;
    fans.version = 5;
    expectFault(
        "version    The helper is older than this kelo (interface version 5, this kelo's is 6). Update the helper.",
        "Install helper and kelo from the same version of Kelo.");
    fans.version = 6;
    fans.hasReadings = false;
    expectFault("fans       This Mac has no controllable fan, or its readings are not available.",
                "The log says what the helper found when it started. If this Mac has fans, " + reportIt);
    fans.hasReadings = true;
    fans.fanCount = 0;
    expectFault("fans       The controller reports no usable fan.",
                "Kelo cannot hold fans on this Mac; the system keeps controlling them. If it has fans, " + reportIt);
}

TEST_F(OnLinux, ReportsAFailedTrialHold) {
    surroundings.fans->error = "This Mac refused to hand over the fan.";
    expectFault("hold       This Mac refused to hand over the fan.",
                "If the system manages cooling itself right now, try again in some minutes. If the problem persists, " +
                    reportIt);
    surroundings.fans->error.reset();
    surroundings.fans->takesFansBack = false;
    expectFault("hand-back  A fan is still in manual mode: the controller has not taken it back. Run kelo hand-back "
                "again; if that does not help, restart the Mac.",
                "If the problem persists, " + reportIt);
}

TEST_F(OnLinux, DoesNotDisturbAnExistingHold) {
    const std::string advice = "kelo hand-back ends any hold at once; after that, kelo doctor also tries a hold.";
    surroundings.fans->show(true);
    expectNote("held by    a client of the helper, or another program that controls fans", advice);
    surroundings.fans->show(false, false, true);
    expectNote("held by    nobody now; a hold is waiting: the lid is closed, or the fans could not be taken again",
               advice);
    EXPECT_THAT(surroundings.fans->holds(), ElementsAre());
}

TEST_F(OnLinux, NotesThatTheChipTemperatureCannotBeRead) {
    surroundings.fans->celsius.reset();
    expectNote("chip       Its temperature cannot be read: a hold does not raise the fans when it gets hot.",
               "Hold only speeds that are enough for full load, and " + reportIt);
}

TEST_F(OnLinux, MissingToolsAndEmptyLogsAreNotFaults) {
    commands.erase(verify("/w/kelo"));
    expectNote("signed     There is no simsign next to this program, so the signatures are unknown.",
               "Run kelo in a folder that ./dev stage DIR has created.");
    commands.erase(log);
    expectNote("log        The journal is not available.", "The helper also writes");
    commands[log] = {0, ""};
    expectNote("log        nothing in the journal", "The helper also writes");
}

TEST_F(OnLinux, ColoursShowTheVerdictsOnATerminal) {
    terminal.shown.hasColour = true;
    commands[find].output.clear();
    EXPECT_EQ(examine(), 1);
    EXPECT_THAT(terminal.printed, HasSubstr("\033[32mok  \033[0m"));
    EXPECT_THAT(terminal.printed, HasSubstr("\033[31mbad \033[0m"));
}

TEST_F(OnLinux, ReportContainsTheVersionAndSystemButNoUserName) {
    terminal.shown.hasColour = true;
    commands[log].output = "started in /home/owner/w\n";
    EXPECT_EQ(examine("kelo 1.2.3"), 0);
    EXPECT_THAT(terminal.printed, StartsWith("kelo 1.2.3\nLinux 6.1 x86_64\n\nok  installed  /w/app.kelo.helper\n"));
    EXPECT_THAT(terminal.printed, HasSubstr("log        started in ~/w\n"));
    EXPECT_THAT(terminal.printed, Not(HasSubstr("owner")));
}

/// The output of the tools follows their manuals; it was not recorded on a Mac.
class OnAMac : public DoctorTest {
protected:
    OnAMac() {
        surroundings.all.executable = "/usr/local/bin/kelo";
        commands = {
            {"uname -srm", {0, "Darwin 25.0.0 arm64\n"}},
            {"/usr/bin/sw_vers", {0, "ProductVersion:\t\t26.0\n"}},
            {"/usr/sbin/sysctl hw.model", {0, "hw.model: Mac15,6\n"}},
            {job,
             {0, "system/app.kelo.helper = {\n\tpath = /Library/LaunchDaemons/app.kelo.helper.plist\n"
                 "\tstate = running\n\n\tprogram = /Library/PrivilegedHelperTools/app.kelo.helper\n\tpid = 321\n"
                 "\tlast exit code = (never exited)\n}\n"}},
            {"/usr/bin/codesign -dvv /usr/local/bin/kelo", {0, signature("app.kelo.Kelo", "ABCDE12345")}},
            {log, {0, heading + "2026-11-21 10:00:00.000 Df listening\n"}},
        };
        addHelper(helper);
    }
    void addHelper(const std::string& path) {
        commands["/bin/ls -l " + path] = {0, "-rwxr-xr-x  1 root  wheel  99 " + path + "\n"};
        commands["/usr/bin/codesign --verify --strict " + path] = {0, ""};
        commands["/usr/bin/codesign -dvv " + path] = {0, signature("app.kelo.helper", "ABCDE12345")};
    }
    static std::string signature(const std::string& identifier, const std::string& team) {
        return "Executable=/somewhere\nIdentifier=" + identifier + "\nflags=0x10000(runtime)\n" +
               "Authority=Developer ID Application: Somebody (" + team +
               ")\nAuthority=Developer ID Certification Authority\nTeamIdentifier=" + team + "\n";
    }

    const std::string helper = "/Library/PrivilegedHelperTools/app.kelo.helper";
    const std::string inAnApp = "/Applications/Kelo.app/Contents/MacOS/app.kelo.helper";
    const std::string job = "/bin/launchctl print system/app.kelo.helper";
    const std::string jobInAnApp = "system/app.kelo.helper = {\n\tpath = (submitted by smd.407)\n"
                                   "\tprogram identifier = Contents/MacOS/app.kelo.helper (mode: 2)\n";
    const std::string log = "/usr/bin/log show --last 1h --style compact --predicate subsystem == \"app.kelo.helper\"";
    const std::string heading = "Filtering the log data using \"subsystem == \"app.kelo.helper\"\"\n"
                                "Skipping info and debug messages, pass --info and/or --debug to include.\n"
                                "Timestamp               Ty Process[PID:TID]\n";
    const std::string installAgain = "Install Kelo again (your own build: ./dev install --identity NAME).";
};

TEST_F(OnAMac, EverythingWorks) {
    EXPECT_EQ(examine(), 0);
    EXPECT_THAT(terminal.printed, StartsWith("ok  installed  /Library/PrivilegedHelperTools/app.kelo.helper\n"
                                             "ok  running    as process 321\n"
                                             "ok  signed     both by team ABCDE12345\n"
                                             "ok  reachable  the helper answers\n"));
    EXPECT_THAT(terminal.printed,
                EndsWith("ok  log        2026-11-21 10:00:00.000 Df listening\n\nEverything works.\n"));
}

TEST_F(OnAMac, CleanlyExitedHelperIsNotAFault) {
    commands[job].output = "\tprogram = " + helper + "\n\tstate = not running\n\tlast exit code = 0\n";
    EXPECT_EQ(examine(), 0);
    EXPECT_THAT(terminal.printed, HasSubstr("ok  running    not now; launchd starts it for the next client\n"));
}

TEST_F(OnAMac, ExaminesTheProgramRegisteredWithLaunchd) {
    commands[job].output = "\tprogram = /elsewhere/helper\n\tpid = 321\n";
    expectFault("installed  There is no /elsewhere/helper.", installAgain);
}

TEST_F(OnAMac, UsesTheProcessToFindAHelperRegisteredByAnApp) {
    commands[job].output = jobInAnApp + "\tpid = 321\n}\n";
    commands["/bin/ps -p 321 -o comm="] = {0, inAnApp + "\n"};
    commands.erase("/bin/ls -l " + helper);
    addHelper(inAnApp);
    EXPECT_EQ(examine(), 0);
    EXPECT_THAT(terminal.printed, StartsWith("ok  installed  " + inAnApp +
                                             "\nok  running    as process 321\n"
                                             "ok  signed     both by team ABCDE12345\n"));
}

TEST_F(OnAMac, StoppedHelperRegisteredByAnAppIsNotAFault) {
    commands[job].output = jobInAnApp + "\tlast exit code = 0\n}\n";
    commands.erase("/bin/ls -l " + helper);
    expectNote("signed     The file of a helper in an app is unknown while it does not run.",
               "Start it with kelo status, then run kelo doctor again.");
    EXPECT_THAT(terminal.printed,
                StartsWith("ok  installed  in an app, as Contents/MacOS/app.kelo.helper (mode: 2)\n"));
}

TEST_F(OnAMac, ReportsEachFaultWithAdvice) {
    const auto all = commands;
    commands.erase("/bin/ls -l " + helper);
    expectFault("installed  There is no " + helper + ".", installAgain);
    commands = all;
    commands[job] = {113, "Could not find service \"app.kelo.helper\" in domain for system\n"};
    expectFault("installed  launchd does not know the helper.",
                "sudo launchctl bootstrap system /Library/LaunchDaemons/app.kelo.helper.plist");
    commands = all;
    commands[job].output = "\tprogram = " + helper + "\n\tlast exit code = 78\n";
    expectFault("running    no; its last exit code is 78",
                "The log below says why. When that is fixed: sudo launchctl kickstart system/app.kelo.helper");
    commands = all;
    commands["/usr/bin/codesign --verify --strict " + helper] = {1, "a sealed resource is missing or invalid\n"};
    expectFault("signed     The helper's signature is not valid.", installAgain);
    commands = all;
    commands["/usr/bin/codesign -dvv " + helper].output = "Signature=adhoc\nTeamIdentifier=not set\n";
    expectFault("signed     The helper's signature has no team, so the helper serves no client.",
                "Sign it with an identity that has a team (your own build: ./dev install --identity NAME).");
    commands = all;
    commands["/usr/bin/codesign -dvv /usr/local/bin/kelo"].output = signature("app.kelo.Kelo", "ZYXWV98765");
    expectFault(
        "signed     The helper is signed by team ABCDE12345, this kelo by team ZYXWV98765: the helper refuses it.",
        "Use the kelo that came with the helper.");
}

TEST_F(OnAMac, AdvisesStoppingASilentHelperToHandTheFansBack) {
    terminal.onSilence = [] { return Woken::byTime; };
    expectFault("reachable  The helper does not answer.", "Stop the helper, so that it hands the fans back: sudo "
                                                          "launchctl kill SIGTERM system/app.kelo.helper");
}

TEST_F(OnAMac, FindsThisProgramByName) {
    surroundings.all.executable = "kelo";
    commands["/usr/bin/which kelo"] = {0, "/usr/local/bin/kelo\n"};
    EXPECT_EQ(examine(), 0);
}

TEST_F(OnAMac, UnreadableOrEmptyLogIsNotAFault) {
    commands[log] = {77, "log: Could not open local log store\n"};
    expectNote("log        The log cannot be read.", "Run kelo doctor as an administrator of this Mac.");
    commands[log] = {0, heading};
    expectNote("log        nothing in the last hour", "To see more: log show --last 1d");
}

TEST_F(OnAMac, ReportNamesTheSystemAndTheModel) {
    examine("kelo 1.2.3");
    EXPECT_THAT(terminal.printed, StartsWith("kelo 1.2.3\nDarwin 25.0.0 arm64\nProductVersion:\t\t26.0\n"
                                             "hw.model: Mac15,6\n\nok  installed"));
    EXPECT_THAT(terminal.printed, Not(HasSubstr("Somebody")));
}

} // namespace
} // namespace kelo
