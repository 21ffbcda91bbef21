#include "simulator/tools/simsign/KeyFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <vector>

#include "simulator/tools/simsign/SigningFailed.h"
#include "testing/TemporaryFolder.h"

namespace kelo {
namespace {

using ::testing::EndsWith;
using ::testing::MatchesRegex;
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

TEST_F(KeyFolderTest, StoresTheAnchorAndItsTeamsInFiles) {
    EXPECT_FALSE(keys.hasAnchor());
    keys.makeAnchor();
    EXPECT_TRUE(keys.hasAnchor());
    keys.team("KELODEV001");
    EXPECT_THAT(files(), UnorderedElementsAre("anchor.pub", "anchor.key", "team-KELODEV001.key"));
}

TEST_F(KeyFolderTest, OnlyTheOwnerCanReadPrivateKeys) {
    keys.makeAnchor();
    keys.team("KELODEV001");
    EXPECT_EQ(modeOf("anchor.key"), 0600U);
    EXPECT_EQ(modeOf("team-KELODEV001.key"), 0600U);
    EXPECT_EQ(modeOf("anchor.pub"), 0644U);
    const auto publicKey = readFile(path / "anchor.pub");
    EXPECT_THAT(publicKey, MatchesRegex("[0-9a-f]+\n"));
    EXPECT_EQ(publicKey.size(), 65U) << "contains part of the private key";
    EXPECT_THAT(readFile(path / "anchor.key"), EndsWith(publicKey));
}

TEST_F(KeyFolderTest, CreatesATeamOnceAndStoresIt) {
    keys.makeAnchor();
    const auto first = keys.team("KELODEV001").key.secret;
    EXPECT_EQ(KeyFolder(path).team("KELODEV001").key.secret, first);
    EXPECT_NE(keys.team("KELODEV002").key.secret, first);
}

TEST_F(KeyFolderTest, StoresTeamsWithUnusualNamesInSeparateFiles) {
    keys.makeAnchor();
    const std::vector<std::string> odd = {
        "", " ", "\"", "../escape", "a/b", "digest-", std::string(65, 'x'), std::string(255, '/')};
    for (const auto& name : odd)
        keys.team(name);
    EXPECT_EQ(files().size(), 2 + odd.size());
    for (const auto& file : files())
        EXPECT_THAT(file, MatchesRegex("anchor.*|team-digest-[0-9a-f]+\\.key"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST_F(KeyFolderTest, ANewAnchorRemovesTheTeamsOfTheOldOne) {
    keys.makeAnchor();
    keys.team("KELODEV001");
    keys.team("a/b");
    writeFile(path / "team-notes.txt", "not a key");
    const auto before = keys.anchor().secret;
    keys.makeAnchor();
    EXPECT_THAT(files(), UnorderedElementsAre("anchor.pub", "anchor.key", "team-notes.txt"));
    EXPECT_NE(keys.anchor().secret, before);
}

TEST_F(KeyFolderTest, ReportsMissingAndDamagedKeys) {
    const auto failureOf = [](auto action) -> std::string {
        try {
            action();
            return "";
        } catch (const SigningFailed& failure) {
            return failure.what();
        }
    };
    const auto anchorKey = (path / "anchor.key").string();
    EXPECT_EQ(failureOf([&] { keys.anchor(); }), "The file " + anchorKey + " cannot be read.");
    EXPECT_EQ(failureOf([&] { keys.team("T"); }), "The file " + anchorKey + " cannot be read.");
    keys.makeAnchor();
    writeFile(anchorKey, readFile(path / "anchor.pub"));
    EXPECT_EQ(failureOf([&] { keys.anchor(); }), "The file " + anchorKey + " does not contain a private key.");
    writeFile(folder / "file", "");
    EXPECT_THAT(failureOf([&] { KeyFolder(folder / "file" / "keys").makeAnchor(); }),
                ::testing::StartsWith("The folder " + (folder / "file" / "keys").string() + " cannot be created ("));
}

} // namespace
} // namespace kelo
