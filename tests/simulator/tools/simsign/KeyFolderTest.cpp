#include "simulator/tools/simsign/KeyFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <vector>

#include "simulator/tools/simsign/SigningFailed.h"
#include "tests/support/TemporaryFolder.h"

namespace kelo {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

class KeyFolderTest : public ::testing::Test {
protected:
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path))
            names.push_back(entry.path().filename());
        return names;
    }

    mode_t modeOf(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(::stat((path / name).c_str(), &status), 0);
        return status.st_mode & 07777;
    }

    const TemporaryFolder folder;
    const std::filesystem::path path = folder / "a" / "b";
    KeyFolder keys{path};
};

TEST_F(KeyFolderTest, AnAnchorAndItsTeamsAreKeptAsFiles) {
    EXPECT_FALSE(keys.hasAnchor());
    keys.makeAnchor();
    EXPECT_TRUE(keys.hasAnchor());
    keys.team("KELODEV001");
    EXPECT_THAT(files(), UnorderedElementsAre("anchor.pem", "anchor-key.pem", "team-KELODEV001.pem"));
}

TEST_F(KeyFolderTest, PrivateKeysAreForTheirOwnerAlone) {
    keys.makeAnchor();
    keys.team("KELODEV001");
    EXPECT_EQ(modeOf("anchor-key.pem"), 0600U);
    EXPECT_EQ(modeOf("team-KELODEV001.pem"), 0600U);
    EXPECT_THAT(readFile(path / "anchor-key.pem"), HasSubstr("PRIVATE KEY"));
    EXPECT_THAT(readFile(path / "team-KELODEV001.pem"), HasSubstr("PRIVATE KEY"));
    EXPECT_EQ(modeOf("anchor.pem"), 0644U);
    EXPECT_THAT(readFile(path / "anchor.pem"), Not(HasSubstr("PRIVATE")));
}

TEST_F(KeyFolderTest, ATeamIsMadeOnceAndKept) {
    keys.makeAnchor();
    const auto first = keys.team("KELODEV001");
    const auto second = KeyFolder(path).team("KELODEV001");
    EXPECT_EQ(X509_cmp(first.certificate.get(), second.certificate.get()), 0);
    EXPECT_EQ(EVP_PKEY_eq(first.key.get(), second.key.get()), 1);
    EXPECT_NE(X509_cmp(first.certificate.get(), keys.team("KELODEV002").certificate.get()), 0);
}

TEST_F(KeyFolderTest, NoTwoCertificatesHaveTheSameNumber) {
    keys.makeAnchor();
    const auto first = keys.team("KELODEV001");
    const auto second = keys.team("KELODEV002");
    EXPECT_NE(ASN1_INTEGER_cmp(X509_get0_serialNumber(first.certificate.get()),
                               X509_get0_serialNumber(second.certificate.get())),
              0);
}

TEST_F(KeyFolderTest, TheAnchorIsAnAuthorityAndATeamIsNone) {
    keys.makeAnchor();
    EXPECT_TRUE(X509_get_extension_flags(keys.anchor().certificate.get()) & EXFLAG_CA);
    EXPECT_FALSE(X509_get_extension_flags(keys.team("KELODEV001").certificate.get()) & EXFLAG_CA);
}

TEST_F(KeyFolderTest, KeysAreOnTheCurveP256) {
    keys.makeAnchor();
    for (const auto& keyed : {keys.anchor(), keys.team("T")}) {
        char curve[32] = {};
        ASSERT_EQ(EVP_PKEY_get_group_name(keyed.key.get(), curve, sizeof curve, nullptr), 1);
        EXPECT_STREQ(curve, "prime256v1");
    }
}

TEST_F(KeyFolderTest, TeamsWithOddNamesHaveFilesOfTheirOwn) {
    keys.makeAnchor();
    const std::vector<std::string> odd = {
        "", " ", "\"", "../escape", "a/b", "sha256-", std::string(65, 'x'), std::string(255, '/')};
    for (const auto& name : odd)
        keys.team(name);
    EXPECT_EQ(files().size(), 2 + odd.size());
    for (const auto& file : files())
        EXPECT_THAT(file, ::testing::MatchesRegex("anchor.*|team-sha256-[0-9a-f]+\\.pem"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST_F(KeyFolderTest, ANewAnchorRemovesTheTeamsOfTheOldOne) {
    keys.makeAnchor();
    keys.team("KELODEV001");
    keys.team("a/b");
    writeFile(path / "team-notes.txt", "not a key");
    const auto before = keys.anchor();
    keys.makeAnchor();
    EXPECT_THAT(files(), UnorderedElementsAre("anchor.pem", "anchor-key.pem", "team-notes.txt"));
    EXPECT_NE(X509_cmp(before.certificate.get(), keys.anchor().certificate.get()), 0);
}

TEST_F(KeyFolderTest, MissingAndDamagedKeysAreNamed) {
    const auto failureOf = [](auto action) -> std::string {
        try {
            action();
            return "";
        } catch (const SigningFailed& failure) {
            return failure.what();
        }
    };
    const auto anchorKey = (path / "anchor-key.pem").string();
    EXPECT_EQ(failureOf([&] { keys.anchor(); }), "The file " + anchorKey + " cannot be read.");
    EXPECT_EQ(failureOf([&] { keys.team("T"); }), "The file " + anchorKey + " cannot be read.");
    keys.makeAnchor();
    writeFile(anchorKey, readFile(path / "anchor.pem"));
    EXPECT_EQ(failureOf([&] { keys.anchor(); }),
              "The file " + anchorKey + " does not hold a private key and its certificate.");
    writeFile(folder / "file", "");
    EXPECT_THAT(failureOf([&] { KeyFolder(folder / "file" / "keys").makeAnchor(); }),
                ::testing::StartsWith("The folder " + (folder / "file" / "keys").string() + " cannot be made ("));
}

} // namespace
} // namespace kelo
