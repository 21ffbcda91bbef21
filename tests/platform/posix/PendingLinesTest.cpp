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
    /// Leaves no room in the pipe.
    void fill() {
        const NonBlockingWriter writer(ends.writing.get());
        while (writer.write("y") > 0) {
        }
    }
    /// What arrives when the pipe is read for as long as something does.
    std::string readWhatComes() {
        std::string text = readAll(ends.reading);
        text.erase(0, text.find_first_not_of('y'));
        for (lines.flush(); true; lines.flush()) {
            const auto more = readAll(ends.reading);
            if (more.empty())
                return text;
            text += more;
        }
    }

    /// Reads what is there in a moment.
    std::thread readSoon() {
        return std::thread([this] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            read = readAll(ends.reading);
        });
    }

    std::string read; ///< By `readSoon`.
    Ends ends = pipeEnds();
    PendingLines lines{ends.writing.get()};
};

TEST_F(PendingLinesTest, AreWrittenInTheirOrderOnceThereIsRoom) {
    fill();
    lines.add("one\n");
    lines.add("two\n");
    lines.flush();
    EXPECT_EQ(readWhatComes(), "one\ntwo\n");
    lines.flush();
    EXPECT_EQ(readWhatComes(), "");
}

TEST_F(PendingLinesTest, ThatFillTheirCapacityToTheLastByteAreAllKept) {
    fill();
    lines.add(line(capacity - 1000));
    lines.add(line(1000));
    EXPECT_EQ(readWhatComes(), line(capacity - 1000) + line(1000));
}

TEST_F(PendingLinesTest, ThatDoNotFitAreCountedInTheirPlace) {
    fill();
    lines.add(line(capacity - 1000));
    lines.add(line(1001));
    lines.add(line(1001));
    const auto first = readWhatComes();
    EXPECT_EQ(first, line(capacity - 1000));
    lines.add("more\n");
    EXPECT_EQ(readWhatComes(), "Lines left out here: 2\nmore\n");
    lines.add("and more\n");
    EXPECT_EQ(readWhatComes(), "and more\n");
}

TEST_F(PendingLinesTest, AreCountedAsPendingOnlyForWhatIsStillToBeWritten) {
    for (int round = 0; round < 3; ++round) {
        fill();
        lines.add(line(capacity));
        EXPECT_EQ(readWhatComes(), line(capacity));
    }
    fill();
    lines.add(line(capacity - 1000));
    lines.add(line(1000));
    EXPECT_EQ(readWhatComes(), line(capacity - 1000) + line(1000));
}

TEST_F(PendingLinesTest, OneThatIsLargerThanTheCapacityIsKeptWhenThereIsNoOther) {
    fill();
    lines.add(line(capacity + 1000));
    EXPECT_EQ(readWhatComes(), line(capacity + 1000));
}

TEST_F(PendingLinesTest, ALineOfOneByteIsWrittenOnce) {
    lines.add("\n");
    lines.flush();
    lines.flush();
    EXPECT_EQ(readAll(ends.reading), "\n");
}

TEST_F(PendingLinesTest, AnEmptyLineIsNone) {
    fill();
    lines.add(line(capacity));
    lines.add("");
    EXPECT_EQ(readWhatComes(), line(capacity));
    lines.add("more\n"); // nothing is in its way
    EXPECT_EQ(readWhatComes(), "more\n");
}

TEST_F(PendingLinesTest, ThatCannotBeWrittenForAnotherReasonAreDropped) {
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
    EXPECT_EQ(readWhatComes(), line(capacity - 1000) + line(1000));
}

TEST_F(PendingLinesTest, TheEndSaysWhatWasLeftOutLast) {
    lines.add(line(capacity));
    lines.add(line(1));
    lines.flush();
    readAll(ends.reading);
    lines.finish();
    EXPECT_EQ(readAll(ends.reading), "Lines left out here: 1\n");
}

TEST_F(PendingLinesTest, TheEndGivesASlowReaderAMomentAndNoMoreThanItNeeds) {
    auto shortest = Clock::duration::max(); // of several: the machine may be busy
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

TEST_F(PendingLinesTest, TheEndGivesASlowReaderAMomentForWhatDidNotFitAtOnce) {
    lines.add(line(capacity + 1000));
    std::thread reader = readSoon();
    lines.finish();
    reader.join();
    EXPECT_EQ((read + readAll(ends.reading)).size(), capacity + 1000);
}

TEST_F(PendingLinesTest, TheEndDoesNotWaitWhenNothingIsPending) {
    fill();
    auto shortest = Clock::duration::max(); // of several: the machine may be busy
    for (int round = 0; round < 5; ++round) {
        const auto before = Clock::now();
        lines.finish();
        shortest = std::min(shortest, Clock::now() - before);
    }
    EXPECT_LT(shortest, std::chrono::milliseconds(150));
}

TEST_F(PendingLinesTest, TheEndWaitsForNobodyForLong) {
    fill();
    lines.add("the last\n");
    const auto before = Clock::now();
    lines.finish();
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(190));
    EXPECT_LT(Clock::now() - before, std::chrono::seconds(5));
}

} // namespace
} // namespace kelo
