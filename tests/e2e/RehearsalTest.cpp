#include <chrono>
#include <fstream>
#include <iterator>

#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class RehearsalProgram : public EndToEnd {
protected:
    std::string content(const std::string& file) {
        std::ifstream stream(folder / file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    ChildProcess play(const Lines& options) {
        Lines arguments = {folder.path(), "--pictures", folder.path()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return {KELO_REHEARSE, arguments, folder / "log", "rehearse"};
    }
};

TEST_F(RehearsalProgram, PrintsATableOfPromisesAndDrawsAPicture) {
    auto session = play({"--profile", "fanless", "--speed", "10"});
    EXPECT_EQ(session.waitForEnd(60), 0) << session.errors();
    EXPECT_THAT(session.output(), HasSubstr("    when   promise\n"));
    EXPECT_THAT(session.output(), HasSubstr("kept     no fan is left in manual mode\n"));
    EXPECT_THAT(session.output(), HasSubstr("\n3 promises kept, 0 broken.\n"));
    EXPECT_THAT(content("session.svg"), StartsWith("<svg "));
    EXPECT_THAT(content("session.json"), HasSubstr("\"picture\": \"timeline\""));
}

TEST_F(RehearsalProgram, ReportsAMacThatDoesNotStart) {
    std::filesystem::remove_all(installation.program("simulated-mac"));
    std::ofstream(installation.program("simulated-mac")) << "no folder";
    auto session = play({});
    EXPECT_EQ(session.waitForEnd(30), 1);
    EXPECT_THAT(session.errors(), StartsWith("rehearse: the simulated Mac does not come up"));
}

TEST_F(RehearsalProgram, RefusesUnknownProfilesAndInvalidSpeeds) {
    EXPECT_EQ(play({"--profile", "toaster"}).waitForEnd(10), 2);
    EXPECT_EQ(play({"--speed", "0"}).waitForEnd(10), 2);
}

TEST_F(RehearsalProgram, MacsClockRunsAtTheRequestedSpeed) {
    installation.startMac({"--speed", "100"});
    const auto from = std::chrono::steady_clock::now();
    installation.simmac({"interfere", "0", "5000"});
    // At normal speed, a fan needs more than 7 seconds to come this close to its target.
    EXPECT_TRUE(waitUntil([&] { return installation.mac()["fans"][0]["currentRPM"].get<double>() > 4970; }, 5));
    EXPECT_LT(std::chrono::steady_clock::now() - from, std::chrono::seconds(6));
}

} // namespace
} // namespace kelo
