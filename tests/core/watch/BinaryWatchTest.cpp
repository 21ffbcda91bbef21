#include "core/watch/BinaryWatch.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>

#include "testing/ScriptedFileEvents.h"

namespace kelo {
namespace {

class BinaryWatchTest : public ::testing::Test {
protected:
    std::unique_ptr<BinaryWatch> makeWatch() {
        return std::make_unique<BinaryWatch>(*events.executable, events, [this] { ++replacements; });
    }

    ScriptedFileEvents events;
    int replacements = 0;
    std::unique_ptr<BinaryWatch> watch = makeWatch();
};

TEST_F(BinaryWatchTest, ReturnsTheExecutablePathReportedByTheSystem) {
    EXPECT_EQ(BinaryWatch::ownExecutable(events), events.executable);
    events.executable.reset();
    EXPECT_EQ(BinaryWatch::ownExecutable(events), std::nullopt);
}

TEST_F(BinaryWatchTest, KeepsItsPath) { EXPECT_EQ(watch->path(), events.executable); }

TEST_F(BinaryWatchTest, ReportsAReplacementOnce) {
    events.place(FileIdentity{1, 101});
    events.send();
    EXPECT_EQ(replacements, 1);
    EXPECT_EQ(events.cancellations(), 1);
    events.send();
    EXPECT_EQ(replacements, 1);
}

TEST_F(BinaryWatchTest, ReportsARemoval) {
    events.place(std::nullopt);
    events.send();
    EXPECT_EQ(replacements, 1);
}

TEST_F(BinaryWatchTest, ReportsAFileWithTheSameInodeOnAnotherDevice) {
    events.place(FileIdentity{2, 100});
    EXPECT_FALSE(watch->isCurrent());
    events.send();
    EXPECT_EQ(replacements, 1);
}

TEST_F(BinaryWatchTest, IgnoresEventsThatLeaveTheSameFileAtThePath) {
    events.send();
    events.send();
    EXPECT_EQ(replacements, 0);
    EXPECT_EQ(events.cancellations(), 0);
    events.place(std::nullopt);
    events.send();
    EXPECT_EQ(replacements, 1);
}

TEST_F(BinaryWatchTest, CancelsTheSourceBeforeTheCallback) {
    int cancellationsAtCall = -1;
    watch = std::make_unique<BinaryWatch>(*events.executable, events,
                                          [&] { cancellationsAtCall = events.cancellations(); });
    events.place(std::nullopt);
    events.send();
    EXPECT_EQ(cancellationsAtCall, 1);
}

TEST_F(BinaryWatchTest, IsCurrentExaminesTheFileEachTime) {
    EXPECT_TRUE(watch->isCurrent());
    events.place(FileIdentity{1, 101});
    EXPECT_FALSE(watch->isCurrent());
    events.place(std::nullopt);
    EXPECT_FALSE(watch->isCurrent());
    events.place(FileIdentity{1, 100});
    EXPECT_TRUE(watch->isCurrent());
}

TEST_F(BinaryWatchTest, IsCurrentStillExaminesTheFileAfterAReplacement) {
    events.place(FileIdentity{1, 101});
    events.send();
    EXPECT_FALSE(watch->isCurrent());
    events.place(FileIdentity{1, 100});
    EXPECT_TRUE(watch->isCurrent());
}

TEST_F(BinaryWatchTest, TreatsAFileThatCannotBeExaminedAsCurrent) {
    events.place(std::nullopt);
    watch = makeWatch();
    EXPECT_TRUE(watch->isCurrent());
    events.place(FileIdentity{1, 101});
    EXPECT_TRUE(watch->isCurrent());
    events.send();
    watch->check();
    EXPECT_EQ(replacements, 0);
    EXPECT_EQ(events.cancellations(), 0);
}

TEST_F(BinaryWatchTest, ReportsAReplacementOnlyWhenCheckedIfTheFileCannotBeOpened) {
    events.canOpen = false;
    watch = makeWatch();
    events.place(std::nullopt);
    events.send();
    EXPECT_EQ(replacements, 0);
    EXPECT_FALSE(watch->isCurrent());
    watch->check();
    EXPECT_EQ(replacements, 1);
}

TEST_F(BinaryWatchTest, CheckReportsOnceAReplacementThatCausedNoEvent) {
    watch->check();
    EXPECT_EQ(replacements, 0);
    events.place(FileIdentity{1, 101});
    watch->check();
    EXPECT_EQ(replacements, 1);
    EXPECT_EQ(events.cancellations(), 1);
    watch->check();
    events.send();
    EXPECT_EQ(replacements, 1);
}

TEST_F(BinaryWatchTest, ADestroyedWatchNeverCallsBack) {
    watch.reset();
    events.place(std::nullopt);
    events.send();
    EXPECT_EQ(replacements, 0);
}

TEST(FileIdentity, ComparesDeviceAndInode) {
    const FileIdentity file{std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::uint64_t>::max()};
    EXPECT_EQ(file, (FileIdentity{std::numeric_limits<std::int32_t>::min(), UINT64_MAX}));
    EXPECT_FALSE(file == (FileIdentity{0, UINT64_MAX}));
    EXPECT_FALSE(file == (FileIdentity{std::numeric_limits<std::int32_t>::min(), 0}));
}

} // namespace
} // namespace kelo
