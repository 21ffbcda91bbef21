#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>

#include "core/watch/BinaryWatch.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/loop/InotifyFileEvents.h"
#include "tests/support/TemporaryFolder.h"

namespace kelo {
namespace {

/// A watch on a file in a folder, with the kernel's own events.
class WatchedFile : public ::testing::Test {
protected:
    WatchedFile() {
        writeFile(file, "old");
        watch = std::make_unique<BinaryWatch>(file.string(), events, [this] {
            ++replacements;
            loop.stop();
        });
    }

    /// Whether the watch reports a replacement; waits for that only as long as the kernel could need.
    bool isReported() {
        loop.postAfter(0.05, [this] { loop.stop(); });
        loop.run();
        return replacements == 1;
    }

    TemporaryFolder folder;
    std::filesystem::path file = folder / "helper";
    EventLoop loop;
    InotifyFileEvents events{loop};
    int replacements = 0;
    std::unique_ptr<BinaryWatch> watch;
};

TEST_F(WatchedFile, RenamingANewFileOverItIsReported) {
    writeFile(folder / "new", "new");
    std::filesystem::rename(folder / "new", file);
    EXPECT_TRUE(isReported());
    EXPECT_FALSE(watch->isCurrent());
}

TEST_F(WatchedFile, MovingItAwayIsReported) {
    std::filesystem::rename(file, folder / "elsewhere");
    EXPECT_TRUE(isReported());
}

TEST_F(WatchedFile, DeletingItIsReported) {
    std::filesystem::remove(file);
    EXPECT_TRUE(isReported());
}

TEST_F(WatchedFile, DeletingItWhileItIsKeptOpenIsReported) {
    const std::ifstream open(file);
    std::filesystem::remove(file);
    EXPECT_TRUE(isReported());
}

TEST_F(WatchedFile, RewritingItInPlaceIsNot) {
    writeFile(file, "other");
    EXPECT_FALSE(isReported());
    EXPECT_TRUE(watch->isCurrent());
}

TEST_F(WatchedFile, TouchingItIsNot) {
    std::filesystem::last_write_time(file, std::filesystem::file_time_type::clock::now());
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    EXPECT_FALSE(isReported());
    EXPECT_TRUE(watch->isCurrent());
}

TEST_F(WatchedFile, LosingAnotherHardLinkIsNot) {
    std::filesystem::create_hard_link(file, folder / "link");
    std::filesystem::remove(folder / "link");
    EXPECT_FALSE(isReported());
    EXPECT_TRUE(watch->isCurrent());
}

TEST_F(WatchedFile, LosingItsOwnNameWhileAnotherHardLinkStaysIs) {
    std::filesystem::create_hard_link(file, folder / "link");
    std::filesystem::remove(file);
    EXPECT_TRUE(isReported());
}

TEST_F(WatchedFile, MovingItAwayAndBackBeforeAnybodyLooksIsNotAndTheWatchGoesOn) {
    std::filesystem::rename(file, folder / "elsewhere");
    std::filesystem::rename(folder / "elsewhere", file);
    EXPECT_FALSE(isReported());
    EXPECT_TRUE(watch->isCurrent());
}

TEST_F(WatchedFile, RenamingItsFolderSendsNoEventButItIsNoLongerCurrent) {
    std::filesystem::create_directory(folder / "inner");
    std::filesystem::rename(file, folder / "inner/helper");
    watch = std::make_unique<BinaryWatch>(folder / "inner/helper", events, [this] { ++replacements; });
    std::filesystem::rename(folder / "inner", folder / "moved");
    EXPECT_FALSE(isReported());
    EXPECT_FALSE(watch->isCurrent());
}

TEST_F(WatchedFile, ADestroyedWatchReportsNothing) {
    watch.reset();
    std::filesystem::remove(file);
    EXPECT_FALSE(isReported());
}

TEST_F(WatchedFile, AFileThatIsNotThereHasNoIdentityAndNoSource) {
    EXPECT_EQ(events.identify(folder / "nothing"), std::nullopt);
    EXPECT_EQ(events.watch(folder / "nothing", [] {}), nullptr);
}

TEST_F(WatchedFile, AnIdentityFollowsSymbolicLinks) {
    std::filesystem::create_symlink(file, folder / "link");
    EXPECT_EQ(events.identify(folder / "link"), events.identify(file));
    EXPECT_NE(events.identify(file), std::nullopt);
}

TEST_F(WatchedFile, OurOwnExecutableIsFound) {
    const auto path = events.ownExecutable();
    ASSERT_TRUE(path.has_value());
    EXPECT_EQ(events.identify(*path), events.identify("/proc/self/exe"));
}

} // namespace
} // namespace kelo
