#include "platform/linux/signing/JudgedExecutables.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>

#include "platform/posix/FileDescriptor.h"
#include "tests/support/TemporaryFolder.h"

namespace kelo {
namespace {

class JudgedExecutablesTest : public ::testing::Test {
protected:
    JudgedExecutablesTest() { writeFile(path, "content"); }

    SignatureVerdict judge() { return judgeWith(judged); }
    SignatureVerdict judgeWith(JudgedExecutables& any) const {
        const FileDescriptor executable(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        return any.judge(executable.get());
    }
    /// The present is coarse: until a change shows in the file's time.
    void changeAnd(const std::function<void()>& change) const {
        struct stat before {};
        struct stat after {};
        ASSERT_EQ(stat(path.c_str(), &before), 0);
        do {
            change();
            ASSERT_EQ(stat(path.c_str(), &after), 0);
        } while (after.st_ctim.tv_sec == before.st_ctim.tv_sec && after.st_ctim.tv_nsec == before.st_ctim.tv_nsec);
    }

    TemporaryFolder folder;
    const std::filesystem::path path = folder / "executable";
    SignatureVerdict verdict = {CodeIdentity{"app", "TEAM"}, {}};
    std::function<void()> onVerify = [] {};
    int readings = 0;
    JudgedExecutables::Verify verify = [this](int) {
        ++readings;
        onVerify();
        return verdict;
    };
    JudgedExecutables judged{verify, std::chrono::seconds(0)};
};

TEST_F(JudgedExecutablesTest, OneThatHasNotChangedIsReadOnce) {
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(judge().identity->team, "TEAM");
    EXPECT_EQ(readings, 1);
}

TEST_F(JudgedExecutablesTest, OneThatWasChangedIsReadAgain) {
    judge();
    changeAnd([this] { writeFile(path, "CONTENT"); }); // of the same size
    verdict = {std::nullopt, "It was altered."};
    EXPECT_EQ(judge().reason, "It was altered.");
    EXPECT_EQ(readings, 2);
}

TEST_F(JudgedExecutablesTest, OneWhoseTimeOfModificationWasPutBackIsReadAgain) {
    const auto time = std::filesystem::last_write_time(path);
    judge();
    changeAnd([&] {
        writeFile(path, "CONTENT");
        std::filesystem::last_write_time(path, time);
    });
    judge();
    EXPECT_EQ(readings, 2);
}

TEST_F(JudgedExecutablesTest, AnotherInItsPlaceIsRead) {
    judge();
    writeFile(folder / "other", "content");
    std::filesystem::rename(folder / "other", path);
    judge();
    EXPECT_EQ(readings, 2);
}

TEST_F(JudgedExecutablesTest, OneThatChangesWhileItIsReadIsReadAgain) {
    onVerify = [this] { changeAnd([this] { writeFile(path, "CONTENT"); }); };
    judge();
    onVerify = [] {};
    judge();
    EXPECT_EQ(readings, 2);
}

TEST_F(JudgedExecutablesTest, OneThatHasChangedAMomentAgoIsReadAgain) {
    JudgedExecutables careful(verify, std::chrono::seconds(3600));
    judgeWith(careful);
    judgeWith(careful);
    EXPECT_EQ(readings, 2);
}

TEST_F(JudgedExecutablesTest, OneThatWasRefusedIsReadAgain) {
    verdict = {std::nullopt, "It is not signed."};
    EXPECT_EQ(judge().reason, "It is not signed.");
    EXPECT_EQ(judge().reason, "It is not signed.");
    EXPECT_EQ(readings, 2);
}

} // namespace
} // namespace kelo
