#include "platform/linux/socket/server/RefusalLog.h"

#include <gmock/gmock.h>

#include <vector>

#include "testing/VirtualQueue.h"

namespace kelo {
namespace {

using ::testing::SizeIs;

class RefusalLogTest : public ::testing::Test {
protected:
    void refuse(int count) {
        for (int i = 0; i < count; ++i)
            log.add("not signed");
    }

    double now = 0;
    VirtualQueue queue{now};
    std::vector<std::string> lines;
    RefusalLog log{queue, [this](const std::string& line) { lines.push_back(line); }};
};

TEST_F(RefusalLogTest, LogsEachOfAFewRefusals) {
    refuse(10);
    queue.runFor(60);
    EXPECT_THAT(lines, SizeIs(10));
    EXPECT_EQ(lines.back(), "not signed");
    EXPECT_EQ(queue.pendingTasks(), 0U);
}

TEST_F(RefusalLogTest, LogsTheNumberOfOmittedRefusals) {
    refuse(2000);
    EXPECT_THAT(lines, SizeIs(10));
    queue.runFor(10);
    EXPECT_THAT(lines, SizeIs(11));
    EXPECT_EQ(lines.back(), "1990 more peers were cut off in the last 10 seconds.");
}

TEST_F(RefusalLogTest, ANewPeriodStartsWithTheNextRefusal) {
    refuse(2000);
    queue.runFor(60);
    refuse(1);
    EXPECT_THAT(lines, SizeIs(12));
    EXPECT_EQ(lines.back(), "not signed");
}

} // namespace
} // namespace kelo
