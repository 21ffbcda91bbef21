#include "client/doctor/Doctor.h"

#include <gmock/gmock.h>

#include <map>

#include "tests/client/ScriptedTerminal.h"

namespace kelo {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

const std::string sameVersion = "The helper's interface version is 6, the same as this program's.\n";
const std::string idle = R"({"fanCount":2,"currentRPM":1200.0,"minRPM":1200.0,"maxRPM":6000.0,"targetRPM":1200.0,)"
                         R"("underKeloControl":false,"warmth":"cool","chipCelsius":45.0,"addingAir":false,)"
                         R"("lidHasFan":false})";

std::string replaced(std::string text, const std::string& old, const std::string& with) {
    const auto place = text.find(old);
    EXPECT_NE(place, std::string::npos) << old;
    return text.replace(place, old.size(), with);
}

/// A machine as a table of commands and what they print. What is not in it cannot be run.
class DoctorTest : public ::testing::Test {
protected:
    using Commands = std::map<std::string, Ran>;

    int examine() {
        terminal.printed.clear();
        const auto run = [this](const std::vector<std::string>& command) -> std::optional<Ran> {
            std::string text;
            for (const auto& word : command)
                text += (text.empty() ? "" : " ") + word;
            const auto known = commands.find(text);
            return known == commands.end() ? std::nullopt : std::optional(known->second);
        };
        return commands::doctor(run, executable, terminal);
    }
    void expectFault(const std::string& fault, const std::string& advice) {
        EXPECT_EQ(examine(), 1);
        EXPECT_THAT(terminal.printed, HasSubstr("!!  " + fault + "\n"));
        EXPECT_THAT(terminal.printed, HasSubstr("               -> " + advice + "\n"));
        EXPECT_THAT(terminal.printed, Not(HasSubstr("Everything works.")));
    }

    Commands commands;
    std::string executable = "/w/kelo";
    ScriptedTerminal terminal;
};

class OnLinux : public DoctorTest {
protected:
    OnLinux() {
        commands = {
            {"uname -s", {0, "Linux\n"}},
            {"ls -l /w/app.kelo.helper", {0, "-rwxr-xr-x 1 me me 99 /w/app.kelo.helper\n"}},
            {"/w/simmac show", {0, "fan 0  automatic\n"}},
            {find, {1, "find: '/proc/1/exe': Permission denied\n/proc/4711/exe\n"}},
            {verify, {0, "identifier: app.kelo.helper\nteam: KELODEV001\n"}},
            {"/w/kelo version", {0, sameVersion}},
            {"/w/kelo status --json", {0, idle}},
            {"journalctl --no-pager --quiet -n 5 -t app.kelo.helper", {0, "a\nb\n"}},
        };
    }

    const std::string find = "find /proc -maxdepth 2 -name exe -lname /w/app.kelo.helper";
    const std::string verify = "/w/simsign verify /w/app.kelo.helper --anchor /w/simulated-mac/anchor.pub";
};

TEST_F(OnLinux, EverythingWorks) {
    EXPECT_EQ(examine(), 0);
    EXPECT_EQ(terminal.printed, "ok  installed  /w/app.kelo.helper\n"
                                "ok  Mac        the simulated one is running\n"
                                "ok  running    as process 4711\n"
                                "ok  signed     by team KELODEV001\n"
                                "ok  reachable  the helper answers\n"
                                "ok  version    " +
                                    sameVersion +
                                    "ok  fan        2 fans, 1200 to 6000 RPM\n"
                                    "ok  held by    nobody: the system controls the fan\n"
                                    "ok  log        a\n"
                                    "               b\n"
                                    "\nEverything works.\n");
}

TEST_F(OnLinux, NothingInstalledIsSaidWithoutLookingFurther) {
    commands.erase("ls -l /w/app.kelo.helper");
    commands["/w/kelo version"] = {3, "kelo: The helper is not running.\nkelo doctor finds out why.\n"};
    expectFault("installed  There is no /w/app.kelo.helper.",
                "./dev stage DIR lays out an installation; use the kelo in there.");
    EXPECT_THAT(terminal.printed, Not(HasSubstr("running    as process")));
    EXPECT_THAT(terminal.printed, HasSubstr("!!  reachable  The helper is not running.\n"));
}

TEST_F(OnLinux, EachFaultIsNamedWithWhatToDo) {
    const auto all = commands;
    commands["/w/simmac show"].status = 1;
    expectFault("Mac        The simulated Mac is not running.", "Start it: /w/simmac serve");
    commands = all;
    commands[find].output = "find: '/proc/1/exe': Permission denied\n";
    expectFault("running    The helper is not running.", "Start it: /w/app.kelo.helper");
    commands = all;
    commands[verify] = {1, "simsign: The file is not signed.\n"};
    expectFault("signed     simsign: The file is not signed.",
                "./dev stage DIR signs helper and kelo; by hand: /w/simsign sign --help");
    commands = all;
    commands.erase("/w/kelo version"); // as when it does not end in time
    expectFault("reachable  The helper does not answer.", "End the helper with Ctrl-C or SIGTERM, and start it again.");
    commands = all;
    commands["/w/kelo version"].output = "The helper's interface version is 5; this program's is 6.\n";
    expectFault("version    The helper's interface version is 5; this program's is 6.",
                "Install helper and kelo from the same version of Kelo.");
    commands = all;
    commands["/w/kelo status --json"] = {1, "kelo: This Mac has no controllable fan.\nkelo doctor finds out why.\n"};
    expectFault("fan        This Mac has no controllable fan.", "The helper's log says what it found when it started.");
    commands["/w/kelo status --json"] = {0, "{}"};
    EXPECT_EQ(examine(), 1) << "readings that nobody can read";
    commands["/w/kelo status --json"] = {0, replaced(idle, "\"fanCount\":2", "\"fanCount\":0")};
    expectFault("fan        The controller reports no usable fan.",
                "Kelo cannot hold fans on this Mac; it goes on controlling them itself.");
}

TEST_F(OnLinux, WhoHoldsTheFanIsNoFault) {
    commands["/w/kelo status --json"].output =
        replaced(idle, "\"underKeloControl\":false", "\"underKeloControl\":true");
    EXPECT_EQ(examine(), 0);
    EXPECT_THAT(terminal.printed,
                HasSubstr("--  held by    a client of the helper, or another program that controls fans\n"
                          "               -> kelo hand-back ends any hold at once.\n"));
    commands["/w/kelo status --json"].output = replaced(idle, "\"lidHasFan\":false", "\"lidHasFan\":true");
    EXPECT_EQ(examine(), 0);
    EXPECT_THAT(terminal.printed, HasSubstr("--  held by    a client of the helper, once the lid is open\n"));
}

TEST_F(OnLinux, WhatCannotBeFoundOutIsNoFault) {
    commands.erase(verify);
    commands.erase("journalctl --no-pager --quiet -n 5 -t app.kelo.helper");
    EXPECT_EQ(examine(), 0);
    EXPECT_THAT(terminal.printed, HasSubstr("--  signed     There is no simsign"));
    EXPECT_THAT(terminal.printed, HasSubstr("--  log        There is no journal to read it from.\n"));
    commands["journalctl --no-pager --quiet -n 5 -t app.kelo.helper"] = {0, ""};
    EXPECT_EQ(examine(), 0);
    EXPECT_THAT(terminal.printed, HasSubstr("--  log        nothing in the journal\n"));
}

TEST_F(OnLinux, ColoursTellTheVerdictsOnATerminal) {
    terminal.shown.hasColour = true;
    commands[find].output.clear();
    EXPECT_EQ(examine(), 1);
    EXPECT_THAT(terminal.printed, HasSubstr("\033[32mok  \033[0m"));
    EXPECT_THAT(terminal.printed, HasSubstr("\033[31m!!  \033[0m"));
}

/// What the tools print is as their manuals show it; none of it comes from a Mac.
class OnAMac : public DoctorTest {
protected:
    OnAMac() {
        executable = "/usr/local/bin/kelo";
        commands = {
            {"uname -s", {0, "Darwin\n"}},
            {"/bin/launchctl print system/app.kelo.helper",
             {0, "system/app.kelo.helper = {\n\tpath = /Library/LaunchDaemons/app.kelo.helper.plist\n"
                 "\tstate = running\n\n\tprogram = /Library/PrivilegedHelperTools/app.kelo.helper\n\tpid = 321\n"
                 "\tlast exit code = (never exited)\n}\n"}},
            {"/bin/ls -l " + helper, {0, "-rwxr-xr-x  1 root  wheel  99 " + helper + "\n"}},
            {"/usr/bin/codesign --verify --strict " + helper, {0, ""}},
            {"/usr/bin/codesign -dvv " + helper, {0, signature("app.kelo.helper", "ABCDE12345")}},
            {"/usr/bin/codesign -dvv /usr/local/bin/kelo", {0, signature("app.kelo.Kelo", "ABCDE12345")}},
            {"/usr/local/bin/kelo version", {0, sameVersion}},
            {"/usr/local/bin/kelo status --json", {0, idle}},
            {log, {0, "Timestamp               Ty Process[PID:TID]\n2026-11-21 10:00:00.000 Df listening\n"}},
        };
    }
    static std::string signature(const std::string& identifier, const std::string& team) {
        return "Executable=/somewhere\nIdentifier=" + identifier + "\nflags=0x10000(runtime)\n" +
               "Authority=Developer ID Application: Somebody (" + team +
               ")\nAuthority=Developer ID Certification Authority\nTeamIdentifier=" + team + "\n";
    }

    const std::string helper = "/Library/PrivilegedHelperTools/app.kelo.helper";
    const std::string job = "/bin/launchctl print system/app.kelo.helper";
    const std::string log = "/usr/bin/log show --last 1h --style compact --predicate subsystem == \"app.kelo.helper\"";
    const std::string installAgain = "Install Kelo again (a build of your own: ./dev install --identity NAME).";
};

TEST_F(OnAMac, EverythingWorks) {
    EXPECT_EQ(examine(), 0);
    EXPECT_THAT(terminal.printed, HasSubstr("ok  installed  /Library/PrivilegedHelperTools/app.kelo.helper\n"
                                            "ok  running    as process 321\n"
                                            "ok  signed     Developer ID Application: Somebody (ABCDE12345)\n"
                                            "ok  reachable  the helper answers\n"));
    EXPECT_THAT(terminal.printed, HasSubstr("ok  log        2026-11-21 10:00:00.000 Df listening\n"));
}

TEST_F(OnAMac, AHelperThatWaitsForItsNextClientIsNoFault) {
    commands[job].output = "\tprogram = " + helper + "\n\tstate = not running\n\tlast exit code = 0\n";
    EXPECT_EQ(examine(), 0);
    EXPECT_THAT(terminal.printed, HasSubstr("ok  running    not now; launchd starts it for the next client\n"));
}

TEST_F(OnAMac, TheProgramIsTheOneThatLaunchdKnows) {
    commands[job].output = "\tprogram = /Applications/Kelo.app/Contents/MacOS/helper\n\tpid = 321\n";
    expectFault("installed  There is no /Applications/Kelo.app/Contents/MacOS/helper.", installAgain);
}

TEST_F(OnAMac, EachFaultIsNamedWithWhatToDo) {
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
                "The log below says why. Once that is mended: sudo launchctl kickstart system/app.kelo.helper");
    commands = all;
    commands["/usr/bin/codesign --verify --strict " + helper] = {1, "a sealed resource is missing or invalid\n"};
    expectFault("signed     The helper's signature is not valid.", installAgain);
    commands = all;
    commands["/usr/bin/codesign -dvv " + helper].output = "Signature=adhoc\nTeamIdentifier=not set\n";
    expectFault("signed     The helper's signature names no team: it serves nobody.",
                "Sign it with an identity that has a team (a build of your own: ./dev install --identity NAME).");
    commands = all;
    commands["/usr/bin/codesign -dvv /usr/local/bin/kelo"].output = signature("app.kelo.Kelo", "ZYXWV98765");
    expectFault("signed     The helper is of team ABCDE12345, this kelo of team ZYXWV98765: they do not talk to each "
                "other.",
                "Use the kelo that came with the helper.");
    commands = all;
    commands.erase("/usr/local/bin/kelo version");
    expectFault("reachable  The helper does not answer.",
                "Restart it: sudo launchctl kickstart -k system/app.kelo.helper");
}

TEST_F(OnAMac, ThisProgramIsFoundByItsNameAlone) {
    executable = "kelo";
    commands["/usr/bin/which kelo"] = {0, "/usr/local/bin/kelo\n"};
    commands["kelo version"] = {0, sameVersion};
    commands["kelo status --json"] = {0, idle};
    EXPECT_EQ(examine(), 0);
}

TEST_F(OnAMac, ALogThatCannotBeReadIsNoFault) {
    commands[log] = {77, "log: Could not open local log store\n"};
    EXPECT_EQ(examine(), 0);
    EXPECT_THAT(terminal.printed, HasSubstr("-> Run kelo doctor as an administrator of this Mac.\n"));
    commands[log] = {0, "Timestamp               Ty Process[PID:TID]\n"};
    EXPECT_EQ(examine(), 0);
    EXPECT_THAT(terminal.printed, HasSubstr("--  log        nothing in the last hour\n"));
}

} // namespace
} // namespace kelo
