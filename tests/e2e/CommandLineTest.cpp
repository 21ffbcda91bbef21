#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class CommandLine : public EndToEnd {
protected:
    static constexpr const char* advice = "kelo doctor looks for the cause and says what to do.\n";
};

TEST_F(CommandLine, IncorrectUsagePrintsAMessageAndExitsWithStatusTwo) {
    const Lines wrong[] = {{"kelo", "hold", "1.5"},
                           {"simmac"},
                           {"simmac", "lid", "ajar"},
                           {"simmac", "set", "Tp09", "warm"},
                           {"simmac", "set", "Temperature", "1"},
                           {"simmac", "load", "2"},
                           {"simmac", "serve", "--profile", "toaster"}};
    for (const auto& words : wrong) {
        SCOPED_TRACE(::testing::PrintToString(words));
        const auto [status, output, errors] = installation.run(words.front(), {words.begin() + 1, words.end()});
        EXPECT_EQ(status, 2);
        EXPECT_EQ(output, "");
        EXPECT_THAT(errors, StartsWith(words.front() + ": "));
        EXPECT_THAT(errors, EndsWith("ee " + words.front() + " --help\n"));
    }
}

TEST_F(CommandLine, ProgramsReportUnknownCommandsAndPrintHelpAndVersion) {
    for (const std::string program : {"kelo", "simmac", "simsign"}) {
        EXPECT_EQ(installation.run(program, {"nonsense"}).errors,
                  program + ": unknown command \"nonsense\"; see " + program + " --help\n");
        EXPECT_EQ(installation.run(program, {"--help"}).status, 0);
        const auto version = installation.run(program, {"--version"});
        EXPECT_EQ(version.status, 0);
        EXPECT_THAT(version.output, StartsWith(program + " "));
    }
    EXPECT_EQ(installation.run("simmac", {"fault", "nonsense"}).errors,
              "simmac: unknown command \"nonsense\"; see simmac --help\n");

    ChildProcess dev(KELO_SOURCE_FOLDER "/dev", {"nonsense"}, folder.path(), "dev");
    EXPECT_EQ(dev.waitForEnd(10), 2);
    EXPECT_EQ(dev.errors(), "dev: unknown command \"nonsense\"; see ./dev help\n");
}

TEST_F(CommandLine, ExitsWithThreeIfTheHelperIsNotRunning) {
    for (const auto& arguments : {Lines{"status"}, Lines{"hold", "0.5"}, Lines{"hand-back"}, Lines{"version"},
                                  Lines{"stand-down"}, Lines{"watch"}}) {
        const auto [status, output, errors] = installation.run("kelo", arguments);
        EXPECT_EQ(status, 3);
        EXPECT_EQ(errors, std::string("kelo: The helper is not running.\n") + advice);
    }
}

TEST_F(CommandLine, ExitsWithThreeIfTheConnectionIsRefused) {
    startEverything();
    install(KELO_CLIENT, "kelo"); // without a signature
    const auto [status, output, errors] = installation.run("kelo", {"status"});
    EXPECT_EQ(status, 3);
    EXPECT_THAT(errors, StartsWith("kelo: The helper "));
}

TEST_F(CommandLine, RefusedHoldPrintsTheHelpersTextAndExitsWithOne) {
    startEverything({"--profile", "refusing"});
    const auto [status, output, errors] = installation.run("kelo", {"hold", "0.5"});
    EXPECT_EQ(status, 1);
    EXPECT_THAT(errors,
                EndsWith(std::string("kelo: This Mac refused to hand over the fan (code 0x82). It usually means "
                                     "the system is managing cooling itself right now.\n") +
                         advice));
    EXPECT_FALSE(installation.isAnyFanManual());
}

TEST_F(CommandLine, HoldExitsWithThreeIfTheHelperHasExited) {
    startEverything();
    const auto client = startHold();
    installation.helper().signal(SIGTERM);
    EXPECT_EQ(installation.helper().waitForEnd(10), 0);
    client->signal(SIGINT);
    EXPECT_EQ(client->waitForEnd(10), 3);
    EXPECT_THAT(client->errors(), StartsWith("kelo: The helper "));
}

TEST_F(CommandLine, DoctorFindsFaults) {
    auto found = installation.run("kelo", {"doctor"});
    EXPECT_EQ(found.status, 1);
    EXPECT_THAT(found.output, HasSubstr("ok  signed     both by team ABCDE12345\n"));
    EXPECT_THAT(found.output, HasSubstr("bad running    The helper is not running.\n"));
    startEverything();
    found = installation.run("kelo", {"doctor"});
    EXPECT_EQ(found.status, 0) << found.output;
    EXPECT_THAT(found.output,
                HasSubstr("ok  running    as process " + std::to_string(installation.helper().number()) + "\n"));
    EXPECT_THAT(found.output, HasSubstr("ok  fans       2 fans, 1200 to 6000 RPM\n"));
    sign("kelo", "app.kelo.Kelo", "ZYXWV98765");
    found = installation.run("kelo", {"doctor"});
    EXPECT_EQ(found.status, 1);
    EXPECT_THAT(found.output,
                HasSubstr("bad signed     The helper is signed by team ABCDE12345, this kelo by team ZYXWV98765"));
    EXPECT_THAT(found.output, HasSubstr("bad reachable  The helper "));
}

TEST_F(CommandLine, SimmacShowsTheMacAsTextAndAsJSON) {
    installation.startMac();
    EXPECT_THAT(installation.simmac({"show"}), HasSubstr("fan 0  automatic"));
    const auto mac = installation.mac();
    for (const auto* member : {"fans", "temperatures", "lidClosed", "asleep", "powerClients", "writes"})
        EXPECT_TRUE(mac.contains(member)) << member;
    for (const auto* member : {"index", "currentRPM", "minRPM", "maxRPM", "targetRPM", "isManual"})
        EXPECT_TRUE(mac["fans"][0].contains(member)) << member;
}

TEST_F(CommandLine, SimmacChangesTheMac) {
    installation.startMac();
    installation.simmac({"lid", "close"});
    installation.simmac({"set", "Tp09", "77.5"});
    installation.simmac({"load", "0.5"});
    installation.simmac({"interfere", "1", "4000"});
    installation.simmac({"sleep"});
    auto mac = installation.mac();
    EXPECT_TRUE(mac["lidClosed"].get<bool>());
    EXPECT_TRUE(mac["asleep"].get<bool>());
    EXPECT_EQ(mac["temperatures"]["Tp09"], 77.5);
    EXPECT_TRUE(mac["fans"][1]["isManual"].get<bool>());
    EXPECT_EQ(mac["fans"][1]["targetRPM"], 4000);
    installation.simmac({"wake"});
    installation.simmac({"lid", "open"});
    mac = installation.mac();
    EXPECT_FALSE(mac["lidClosed"].get<bool>());
    EXPECT_FALSE(mac["asleep"].get<bool>());
}

TEST_F(CommandLine, FailedSimmacPrintsAMessageAndExitsWithOne) {
    EXPECT_EQ(installation.run("simmac", {"show"}).status, 1);
    installation.startMac({"--profile", "desktop"});
    EXPECT_EQ(installation.run("simmac", {"lid", "close"}).errors, "simmac: This Mac has no lid.\n");
    EXPECT_EQ(installation.run("simmac", {"interfere", "7", "auto"}).errors, "simmac: This Mac has no such fan.\n");
    EXPECT_EQ(installation.run("simmac", {"wake"}).errors, "simmac: The Mac is awake.\n");
    EXPECT_EQ(installation.run("simmac", {"serve"}).status, 1);
}

} // namespace
} // namespace kelo
