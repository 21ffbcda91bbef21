#include "simulator/tools/simsign/CodeSigner.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "simulator/tools/simsign/SigningFailed.h"
#include "tests/platform/linux/signing/SigningFixture.h"

namespace kelo {
namespace {

struct stat statusOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status;
}

class CodeSigner : public SigningFixture {
protected:
    /// Signs `file`. Returns the error's text; empty if there is none.
    std::string failureOf(const Path& file, const CodeIdentity& as) {
        try {
            sign(file, as);
            return "";
        } catch (const SigningFailed& failure) {
            return failure.what();
        }
    }

    std::ptrdiff_t filesInFolder() const {
        return std::distance(std::filesystem::directory_iterator(folder.path()), {});
    }
};

TEST_F(CodeSigner, ASignedProgramStillRuns) {
    const auto path = unsignedProgram();
    const auto sizeBefore = std::filesystem::file_size(path);
    sign(path, identity);
    EXPECT_GT(std::filesystem::file_size(path), sizeBefore);
    const auto running = startProgram(path, {"hello"});
    EXPECT_EQ(running->waitForEnd(60), 7);
    EXPECT_EQ(running->output(), "still runs\n");
}

TEST_F(CodeSigner, SigningAgainReplacesTheSignature) {
    const auto file = signedFileWith("content");
    const auto first = readFile(file);
    sign(file, {"app.kelo.other", identity.team});
    EXPECT_EQ(verdictOn(file).identity, (CodeIdentity{"app.kelo.other", identity.team}));
    sign(file, identity);
    EXPECT_EQ(readFile(file), first);
}

TEST_F(CodeSigner, KeepsTheMode) {
    for (const mode_t mode : {0755U, 0700U, 0444U, 0644U, 04755U}) {
        const auto file = fileWith("content");
        ASSERT_EQ(::chmod(file.c_str(), mode), 0);
        sign(file, identity);
        EXPECT_EQ(statusOf(file).st_mode & 07777, mode);
    }
}

TEST_F(CodeSigner, KeepsTheOwnerWhenRootSigns) {
    const auto file = fileWith("content");
    if (::chown(file.c_str(), 12, 34) != 0)
        GTEST_SKIP() << "cannot change a file's owner here: " << std::strerror(errno);
    ASSERT_EQ(::chmod(file.c_str(), 04755), 0);
    sign(file, identity);
    EXPECT_EQ(statusOf(file).st_uid, 12U);
    EXPECT_EQ(statusOf(file).st_gid, 34U);
    EXPECT_EQ(statusOf(file).st_mode & 07777, 04755U);
}

TEST_F(CodeSigner, ReplacesTheFileAndLeavesOtherHardLinksUnchanged) {
    const auto file = fileWith("content");
    std::filesystem::create_hard_link(file, folder / "other-name");
    sign(file, identity);
    EXPECT_EQ(readFile(folder / "other-name"), "content");
    EXPECT_NE(statusOf(file).st_ino, statusOf(folder / "other-name").st_ino);
}

TEST_F(CodeSigner, SignsARunningProgram) {
    const auto path = unsignedProgram();
    const auto running = startProgram(path, {"wait"});
    ASSERT_EQ(running->readLine(), "waiting");
    sign(path, identity);
    EXPECT_EQ(verdictOn(path).identity, identity);
}

TEST_F(CodeSigner, FollowsASymbolicLink) {
    const auto file = fileWith("content");
    std::filesystem::create_symlink(file, folder / "link");
    sign(folder / "link", identity);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
    EXPECT_EQ(verdictOn(file).identity, identity);
}

TEST_F(CodeSigner, LeavesFileAndFolderUnchangedOnFailure) {
    const auto expectFailure = [&](const std::string& content, const CodeIdentity& as, const std::string& reason) {
        const auto file = fileWith(content);
        const auto before = filesInFolder();
        EXPECT_EQ(failureOf(file, as), reason);
        EXPECT_EQ(readFile(file), content);
        EXPECT_EQ(filesInFolder(), before);
    };
    for (const auto& name :
         {std::string("a\nb"), std::string("a\0b", 3), std::string("\xC3\xA4"), std::string(256, 'x')}) {
        const std::string reason = " is longer than 255 bytes or contains characters other than printable ASCII.";
        expectFailure("content", {name, identity.team}, "The identifier" + reason);
        expectFailure("content", {identity.identifier, name}, "The team" + reason);
    }
    expectFailure("content" + trailerEnd(), identity, "The signature trailer is damaged: it is cut short.");
    expectFailure("content" + trailerEnd(1), identity,
                  "The signature has format version 1, but only version 2 is supported.");
}

TEST_F(CodeSigner, RefusesAMissingFileAndAFolder) {
    const auto missing = folder / "missing";
    EXPECT_EQ(failureOf(missing, identity),
              "The file " + missing.string() + " cannot be read (No such file or directory).");
    EXPECT_EQ(failureOf(folder.path(), identity), "The executable is not a regular file.");
}

TEST_F(CodeSigner, SigningAddsNoFileToTheFolder) {
    const auto file = fileWith("content");
    keys.team(identity.team);
    const auto before = filesInFolder();
    sign(file, identity);
    EXPECT_EQ(filesInFolder(), before);
}

} // namespace
} // namespace kelo
