#include "platform/posix/PendingLines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/posix/NonBlockingWriter.h"
#include "tests/platform/posix/Ends.h"

namespace kelo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t capacity = 65'536;

std::string line(std::size_t length) { return std::string(length - 1, 'x') + "\n"; }

class PendingLinesTest : public ::testing::Test {
protected:
    void fill() {
        const NonBlockingWriter writer(ends.writing.get());
        while (writer.write("y") > 0) {
        }
    }
    /// Flushes and reads until nothing more arrives.
    std::string flushAndRead() {
        std::string text = readAll(ends.reading);
        text.erase(0, text.find_first_not_of('y'));
        for (lines.flush(); true; lines.flush()) {
            const auto more = readAll(ends.reading);
            if (more.empty())
                return text;
            text += more;
        }
    }

    /// Starts a thread that waits a moment and then reads the available text.
    std::thread readSoon() {
        return std::thread([this] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            read = readAll(ends.reading);
        });
    }

    std::string read; ///< The text that `readSoon` has read.
    Ends ends = pipeEnds();
    PendingLines lines{ends.writing.get()};
};

TEST_F(PendingLinesTest, WritesLinesInOrderOnceThereIsRoom) {
    fill();
    lines.add("one\n");
    lines.add("two\n");
    lines.flush();
    EXPECT_EQ(flushAndRead(), "one\ntwo\n");
    lines.flush();
    EXPECT_EQ(flushAndRead(), "");
}

TEST_F(PendingLinesTest, KeepsLinesUpToTheLastByteOfTheCapacity) {
    fill();
    lines.add(line(capacity - 1000));
    lines.add(line(1000));
    EXPECT_EQ(flushAndRead(), line(capacity - 1000) + line(1000));
}

TEST_F(PendingLinesTest, ReportsDroppedLinesWhereTheyAreMissing) {
    fill();
    lines.add(line(capacity - 1000));
    lines.add(line(1001));
    lines.add(line(1001));
    const auto first = flushAndRead();
    EXPECT_EQ(first, line(capacity - 1000));
    lines.add("more\n");
    EXPECT_EQ(flushAndRead(), "Lines left out here: 2\nmore\n");
    lines.add("and more\n");
    EXPECT_EQ(flushAndRead(), "and more\n");
}

TEST_F(PendingLinesTest, CountsOnlyUnwrittenBytesAsPending) {
    for (int round = 0; round < 3; ++round) {
        fill();
        lines.add(line(capacity));
        EXPECT_EQ(flushAndRead(), line(capacity));
    }
    fill();
    lines.add(line(capacity - 1000));
    lines.add(line(1000));
    EXPECT_EQ(flushAndRead(), line(capacity - 1000) + line(1000));
}

TEST_F(PendingLinesTest, KeepsAnOversizedLineIfItIsTheOnlyOne) {
    fill();
    lines.add(line(capacity + 1000));
    EXPECT_EQ(flushAndRead(), line(capacity + 1000));
}

TEST_F(PendingLinesTest, WritesALineOfOneByteOnce) {
    lines.add("\n");
    lines.flush();
    lines.flush();
    EXPECT_EQ(readAll(ends.reading), "\n");
}

TEST_F(PendingLinesTest, IgnoresAnEmptyLine) {
    fill();
    lines.add(line(capacity));
    lines.add("");
    EXPECT_EQ(flushAndRead(), line(capacity));
    lines.add("more\n"); // the pipe has room
    EXPECT_EQ(flushAndRead(), "more\n");
}

TEST_F(PendingLinesTest, DropsLinesThatCannotBeWritten) {
    const int number = ends.writing.get();
    const FileDescriptor kept(dup(number));
    close(number);
    for (int round = 0; round < 3; ++round) {
        lines.add(line(1000));
        lines.flush();
    }
    dup2(kept.get(), number);
    fill();
    lines.add(line(capacity - 1000));
    lines.add(line(1000));
    EXPECT_EQ(flushAndRead(), line(capacity - 1000) + line(1000));
}

TEST_F(PendingLinesTest, FinishReportsTheLinesDroppedLast) {
    lines.add(line(capacity));
    lines.add(line(1));
    lines.flush();
    readAll(ends.reading);
    lines.finish();
    EXPECT_EQ(readAll(ends.reading), "Lines left out here: 1\n");
}

TEST_F(PendingLinesTest, FinishWaitsForASlowReaderOnlyAsLongAsNecessary) {
    auto shortest = Clock::duration::max(); // of several rounds, because the machine may be busy
    for (int round = 0; round < 5; ++round) {
        fill();
        lines.add("the last\n");
        std::thread reader = readSoon();
        const auto before = Clock::now();
        lines.finish();
        shortest = std::min(shortest, Clock::now() - before);
        reader.join();
        EXPECT_TRUE((read + readAll(ends.reading)).ends_with("the last\n"));
    }
    EXPECT_LT(shortest, std::chrono::milliseconds(150));
}

TEST_F(PendingLinesTest, FinishWaitsUntilTheRemainingTextFits) {
    lines.add(line(capacity + 1000));
    std::thread reader = readSoon();
    lines.finish();
    reader.join();
    EXPECT_EQ((read + readAll(ends.reading)).size(), capacity + 1000);
}

TEST_F(PendingLinesTest, FinishDoesNotWaitIfNothingIsPending) {
    fill();
    auto shortest = Clock::duration::max(); // of several rounds, because the machine may be busy
    for (int round = 0; round < 5; ++round) {
        const auto before = Clock::now();
        lines.finish();
        shortest = std::min(shortest, Clock::now() - before);
    }
    EXPECT_LT(shortest, std::chrono::milliseconds(150));
}

TEST_F(PendingLinesTest, FinishGivesUpAfterAShortWait) {
    fill();
    lines.add("the last\n");
    const auto before = Clock::now();
    lines.finish();
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(190));
    EXPECT_LT(Clock::now() - before, std::chrono::seconds(5));
}

} // namespace
} // namespace kelo
