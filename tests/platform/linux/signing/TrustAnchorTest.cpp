#include "platform/linux/signing/TrustAnchor.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "platform/linux/signing/SignatureRefused.h"
#include "tests/platform/linux/signing/SigningFixture.h"

namespace kelo {
namespace {

using ::testing::StartsWith;

const uid_t somebody = ::geteuid() + 1234; // not the user that runs the test
constexpr const char* othersWriteFolder = "The trust anchor's folder can be written to by others.";
constexpr const char* othersWriteFile = "The trust anchor can be written to by others.";
constexpr const char* othersOwnFolder = "The trust anchor's folder belongs to another user.";
constexpr const char* othersOwnFile = "The trust anchor belongs to another user.";

class InstalledAnchorTest : public SigningFixture {
protected:
    const Path file = keys.anchorFile();
    const Path fileFolder = file.parent_path();

    std::string refusal() const { return refusalOf(installedAnchor()); }

    static std::string refusalOf(const InstalledAnchor& anchor) {
        try {
            anchor.get();
            return {};
        } catch (const SignatureRefused& refused) {
            return refused.what();
        }
    }

    std::string refusalAfterMode(const Path& path, mode_t mode) {
        EXPECT_EQ(::chmod(path.c_str(), mode), 0);
        return refusal();
    }

    std::string refusalAfterOwner(const Path& path, uid_t owner) {
        EXPECT_EQ(::chown(path.c_str(), owner, static_cast<gid_t>(-1)), 0);
        return refusal();
    }
};

TEST_F(InstalledAnchorTest, TrustsAnAnchorThatNoOtherUserCanReplace) {
    EXPECT_EQ(refusal(), "");
    EXPECT_EQ(refusalAfterMode(file, 0400), "");
    EXPECT_EQ(refusalAfterMode(fileFolder, 0700), "");
}

TEST_F(InstalledAnchorTest, RefusesAFileOrFolderThatOthersCanWriteTo) {
    for (const mode_t mode : {0775U, 0757U, 01777U})
        EXPECT_EQ(refusalAfterMode(fileFolder, mode), othersWriteFolder) << mode;
    EXPECT_EQ(refusalAfterMode(fileFolder, 0755), "");
    for (const mode_t mode : {0664U, 0646U, 0602U})
        EXPECT_EQ(refusalAfterMode(file, mode), othersWriteFile) << mode;
    EXPECT_EQ(refusalAfterMode(file, 0644), "");
}

TEST_F(InstalledAnchorTest, RefusesAnAccessListThatLetsOthersWrite) {
    // An access control list in the kernel's format: version 2, then the type, permissions and user of each entry.
    const auto all = static_cast<char>(0xFF);
    const std::array<char, 44> list = {2,  0, 0, 0,                         //
                                       1,  0, 6, 0, all,    all, all, all,  // the owner
                                       2,  0, 6, 0, '\xD2', 4,   0,   0,    // user 1234
                                       4,  0, 4, 0, all,    all, all, all,  // the group
                                       16, 0, 6, 0, all,    all, all, all,  // the mask
                                       32, 0, 4, 0, all,    all, all, all}; // other users
    if (::setxattr(file.c_str(), "system.posix_acl_access", list.data(), list.size(), 0) != 0)
        GTEST_SKIP() << "this file system has no access lists";
    EXPECT_EQ(refusal(), othersWriteFile);
}

TEST_F(InstalledAnchorTest, RefusesAFileOrFolderOwnedByAnotherUser) {
    if (::chown(file.c_str(), somebody, getegid()) != 0)
        GTEST_SKIP() << "files cannot be given away here: " << std::strerror(errno);
    EXPECT_EQ(refusalAfterOwner(file, somebody), othersOwnFile);
    EXPECT_EQ(refusalAfterOwner(fileFolder, somebody), othersOwnFolder);
    EXPECT_EQ(refusalAfterOwner(file, 0), othersOwnFolder);
    EXPECT_EQ(refusalAfterOwner(fileFolder, 0), "");
}

TEST_F(InstalledAnchorTest, TrustsFilesOwnedByRootOrByTheCurrentUser) {
    if (::seteuid(somebody) != 0)
        GTEST_SKIP() << "no process can become another user here: " << std::strerror(errno);
    ASSERT_EQ(::seteuid(0), 0);
    const auto open = openAnchorFolder(); // the other user cannot reach it
    const auto refusalForSomebody = [&] {
        EXPECT_EQ(::seteuid(somebody), 0);
        auto reason = refusalOf(InstalledAnchor(open.get(), file.filename()));
        EXPECT_EQ(::seteuid(0), 0);
        return reason;
    };
    EXPECT_EQ(refusalForSomebody(), "");
    refusalAfterOwner(file, somebody);
    EXPECT_EQ(refusalForSomebody(), "");
    refusalAfterOwner(fileFolder, somebody);
    EXPECT_EQ(refusalForSomebody(), "");
    refusalAfterOwner(fileFolder, somebody + 1);
    EXPECT_EQ(refusalForSomebody(), othersOwnFolder);
}

TEST_F(InstalledAnchorTest, RefusesToFollowALink) {
    const auto elsewhere = folder / "elsewhere.pub";
    std::filesystem::rename(file, elsewhere);
    std::filesystem::create_symlink(elsewhere, file);
    EXPECT_THAT(refusal(), StartsWith("The trust anchor cannot be opened ("));
}

TEST_F(InstalledAnchorTest, RefusesANonRegularFileWithoutBlocking) {
    std::filesystem::remove(file);
    EXPECT_THAT(refusal(), StartsWith("The trust anchor cannot be opened ("));
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_EQ(refusal(), "The trust anchor is not a regular file.");
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    EXPECT_EQ(refusal(), "The trust anchor is not a regular file.");
    EXPECT_THAT(refusalOf(InstalledAnchor(-1, "anchor.pub")), StartsWith("The trust anchor's folder cannot be "));
}

TEST_F(InstalledAnchorTest, RefusesAFileWithoutAPublicKey) {
    const auto good = readFile(file);
    ASSERT_EQ(good.size(), 65U);
    const auto withFirst = [&](char c) { return c + good.substr(1); };
    for (const auto& text :
         {std::string(), std::string("a letter"), good.substr(1), good.substr(0, 64), good.substr(0, 64) + " ",
          good + "\n", "0" + good, good + good, withFirst('g'), withFirst(' '), withFirst('\n'), withFirst(':')}) {
        writeFile(file, text);
        EXPECT_EQ(refusal(), "The trust anchor anchor.pub holds no public key.") << text;
    }
    writeFile(file, good);
    EXPECT_EQ(refusal(), "");
}

TEST_F(InstalledAnchorTest, LoadingAlsoRequiresAPublicKey) {
    const auto refusalOfLoading = [](const Path& path) -> std::string {
        try {
            TrustAnchor::load(path);
            return {};
        } catch (const SignatureRefused& refused) {
            return refused.what();
        }
    };
    EXPECT_EQ(refusalOfLoading(file), "");
    const auto missing = folder / "missing.pub";
    EXPECT_EQ(refusalOfLoading(missing), "The trust anchor " + missing.string() + " cannot be read.");
    for (const auto& path : {fileWith(""), folder.path()})
        EXPECT_EQ(refusalOfLoading(path), "The trust anchor " + path.string() + " holds no public key.");
}

TEST_F(InstalledAnchorTest, IgnoresLaterChanges) {
    const auto anchor = installedAnchor();
    const auto signedBefore = signedFileWith("content");
    keys.makeAnchor();
    const auto signedAfter = signedFileWith("content");
    EXPECT_EQ(verdictOn(signedBefore, anchor.get()).identity, identity);
    EXPECT_EQ(verdictOn(signedAfter, anchor.get()).identity, std::nullopt);
}

} // namespace
} // namespace kelo
