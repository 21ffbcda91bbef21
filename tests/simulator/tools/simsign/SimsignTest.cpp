#include <gmock/gmock.h>

#include "testing/TemporaryFolder.h"
#include "testing/process/ChildProcess.h"

namespace kelo {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

struct Outcome {
    int status;
    std::string output;
    std::string error;
    bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* stream) {
    *stream << "status " << outcome.status << ", output \"" << outcome.output << "\", error \"" << outcome.error << '"';
}

Outcome prints(const std::string& output) { return {0, output, ""}; }
Outcome refuses(const std::string& sentence) { return {1, "", "simsign: " + sentence + "\n"}; }

class Simsign : public ::testing::Test {
protected:
    Simsign() { writeFile(executable, "content"); }

    Outcome simsign(const std::vector<std::string>& arguments) const {
        ChildProcess process(KELO_SIMSIGN, arguments, folder.path(), "simsign");
        const auto status = process.waitForEnd(60);
        return {status.value_or(-1), process.output(), process.errors()};
    }

    Outcome sign(const std::string& identifier, const std::string& team) {
        return simsign({"sign", executable, "--identifier", identifier, "--team", team, "--keys", keys});
    }

    Outcome verify(std::vector<std::string> more = {}) {
        std::vector<std::string> arguments{"verify", executable, "--anchor", keys + "/anchor.pub"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return simsign(std::move(arguments));
    }

    const TemporaryFolder folder;
    const std::string keys = folder / "keys";
    const std::string executable = folder / "executable";
};

TEST_F(Simsign, VerifiesAProgramSignedWithTheKeysFromInit) {
    EXPECT_EQ(simsign({"init", keys}), prints("created an anchor and team \"KELODEV001\" in " + keys + "\n"));
    EXPECT_EQ(sign("app.kelo.helper", "KELODEV001"),
              prints("signed " + executable + " as \"app.kelo.helper\" of team \"KELODEV001\"\n"));
    EXPECT_EQ(verify(), prints("identifier: app.kelo.helper\nteam: KELODEV001\n"));
    EXPECT_EQ(verify({"--requirement", "anchor apple generic and identifier \"app.kelo.helper\" and certificate "
                                       "leaf[subject.OU] = \"KELODEV001\""}),
              prints("identifier: app.kelo.helper\nteam: KELODEV001\n"));
}

TEST_F(Simsign, InitCreatesTheRequestedTeam) {
    EXPECT_EQ(simsign({"init", keys, "--team", "MYTEAM0001"}),
              prints("created an anchor and team \"MYTEAM0001\" in " + keys + "\n"));
    EXPECT_TRUE(std::filesystem::exists(keys + "/team-MYTEAM0001.key"));
}

TEST_F(Simsign, InitOverwritesOnlyWhenForced) {
    simsign({"init", keys});
    const auto anchor = readFile(keys + "/anchor.pub");
    EXPECT_EQ(simsign({"init", keys}),
              refuses("The folder " + keys + " already contains an anchor; --force replaces it and all its teams."));
    EXPECT_EQ(readFile(keys + "/anchor.pub"), anchor);
    EXPECT_EQ(simsign({"init", keys, "--force"}).status, 0);
    EXPECT_NE(readFile(keys + "/anchor.pub"), anchor);
}

TEST_F(Simsign, SignsWithUnusualNames) {
    simsign({"init", keys});
    EXPECT_EQ(sign("app \"kelo\" x", "").status, 0);
    EXPECT_EQ(verify(), prints("identifier: app \"kelo\" x\nteam: \n"));
    EXPECT_EQ(sign("", "T\"E A/M").status, 0);
    EXPECT_EQ(verify(), prints("identifier: \nteam: T\"E A/M\n"));
}

TEST_F(Simsign, SignReportsWhyItFailed) {
    EXPECT_EQ(sign("id", "team"), refuses("The file " + keys + "/anchor.key cannot be read."));
    simsign({"init", keys});
    EXPECT_EQ(sign("a\nb", "team"),
              refuses("The identifier is longer than 255 bytes or contains characters other than printable ASCII."));
    const auto missing = (folder / "missing").string();
    EXPECT_EQ(simsign({"sign", missing, "--identifier", "id", "--team", "team", "--keys", keys}),
              refuses("The file " + missing + " cannot be read (No such file or directory)."));
}

TEST_F(Simsign, VerifyReportsWhyItFailed) {
    simsign({"init", keys});
    EXPECT_EQ(verify(), refuses("The executable is not signed."));
    sign("app.kelo.helper", "KELODEV001");
    EXPECT_EQ(verify({"--requirement", "identifier \"app.kelo.Kelo\""}),
              refuses("The executable is \"app.kelo.helper\" of team \"KELODEV001\", which does not satisfy the "
                      "requirement."));
    EXPECT_EQ(verify({"--requirement", "nonsense"}), refuses("The requirement does not parse."));
    EXPECT_EQ(verify({"--requirement", ""}), refuses("The requirement does not parse."));
    auto altered = readFile(executable);
    altered[0] = 'C';
    writeFile(executable, altered);
    EXPECT_EQ(verify(), refuses("The executable was altered after it was signed."));
    const auto missing = (folder / "missing").string();
    EXPECT_EQ(simsign({"verify", missing, "--anchor", keys + "/anchor.pub"}),
              refuses("The file " + missing + " cannot be read."));
    EXPECT_EQ(simsign({"verify", executable, "--anchor", missing}),
              refuses("The trust anchor " + missing + " cannot be read."));
}

TEST_F(Simsign, IncorrectUsagePrintsOneLineAndExitsWithStatusTwo) {
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{},
                                                  {"unknown"},
                                                  {"init"},
                                                  {"init", "a", "b"},
                                                  {"init", "a", "--unknown"},
                                                  {"sign", executable},
                                                  {"sign", executable, "--identifier", "id", "--team", "t"},
                                                  {"sign", executable, "--identifier", "id", "--keys", keys},
                                                  {"verify"},
                                                  {"verify", executable},
                                                  {"verify", executable, "--anchor"},
                                                  {"init", keys, "verify", executable}}) {
        const auto outcome = simsign(wrong);
        EXPECT_EQ(outcome.status, 2) << ::testing::PrintToString(wrong);
        EXPECT_EQ(outcome.output, "");
        EXPECT_THAT(outcome.error, MatchesRegex("simsign: [^\n]+; see simsign --help\n"));
    }
    EXPECT_FALSE(std::filesystem::exists(keys));
}

TEST_F(Simsign, PrintsHelpAndVersion) {
    const auto help = simsign({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const auto* part : {"init", "sign", "verify", "Exit status: 0 success", "printable ASCII"})
        EXPECT_THAT(help.output, HasSubstr(part));
    EXPECT_EQ(simsign({"sign", "--help"}).status, 0);
    EXPECT_EQ(simsign({"--version"}), prints("simsign " KELO_VERSION "\n"));
}

} // namespace
} // namespace kelo
