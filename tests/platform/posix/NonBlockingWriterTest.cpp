#include "platform/posix/NonBlockingWriter.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <set>

#include "testing/DescriptorLimit.h"
#include "tests/platform/posix/Ends.h"

namespace kelo {
namespace {

/// A text that is too long for a single write if the free space is unknown.
const std::string text(2000, 'x');

std::set<int> inheritedDescriptors() {
    std::set<int> found;
    for (int descriptor = 0; descriptor < 256; ++descriptor)
        if (const int flags = fcntl(descriptor, F_GETFD); flags != -1 && (flags & FD_CLOEXEC) == 0)
            found.insert(descriptor);
    return found;
}

/// Writes until a write fails, and returns the error.
int fill(const NonBlockingWriter& writer) {
    errno = 0;
    auto written = writer.write(text);
    while (written > 0)
        written = writer.write(text);
    EXPECT_EQ(written, -1);
    return errno;
}

class NonBlockingWriterTest : public ::testing::TestWithParam<Ends (*)()> {
protected:
    Ends ends = GetParam()();
};

TEST_P(NonBlockingWriterTest, DoesNotWaitWhileFullAndWritesOnceThereIsRoom) {
    const NonBlockingWriter writer(ends.writing.get());
    EXPECT_EQ(fill(writer), EAGAIN);
    EXPECT_FALSE(readAll(ends.reading).empty());
    EXPECT_GT(writer.write(text), 0);
}

TEST_P(NonBlockingWriterTest, ChildrenDoNotInheritItsDescriptors) {
    const auto before = inheritedDescriptors();
    const NonBlockingWriter writer(ends.writing.get());
    EXPECT_EQ(inheritedDescriptors(), before);
}

TEST_P(NonBlockingWriterTest, DoesNotBlockEvenIfNoDescriptorIsFree) {
    const int writing = ends.writing.get(); // sanitizers need descriptors to inspect the test
    const DescriptorLimit standardStreamsOnly(3);
    const NonBlockingWriter writer(writing);
    EXPECT_GT(writer.write(text), 0);
    EXPECT_EQ(fill(writer), EAGAIN);
}

INSTANTIATE_TEST_SUITE_P(Every, NonBlockingWriterTest, ::testing::Values(pipeEnds, terminalEnds, socketEnds));

TEST(NonBlockingWriter, WritesAllOfALongTextToATerminalAndASocket) {
    for (auto* const make : {terminalEnds, socketEnds}) {
        const auto ends = make();
        EXPECT_EQ(NonBlockingWriter(ends.writing.get()).write(text), text.size());
        EXPECT_EQ(readAll(ends.reading), text);
    }
}

TEST(NonBlockingWriter, WritesAllOfALongTextToAReopenedPipe) {
    if (!std::filesystem::exists("/proc/self/fd"))
        GTEST_SKIP() << "this system only duplicates a pipe";
    const auto ends = pipeEnds();
    EXPECT_EQ(NonBlockingWriter(ends.writing.get()).write(text), text.size());
}

TEST(NonBlockingWriter, WritesAtMostPipeBufBytesIfAPipeCannotBeReopened) {
    const auto ends = pipeEnds();
    const DescriptorLimit standardStreamsOnly(3);
    EXPECT_EQ(NonBlockingWriter(ends.writing.get()).write(text), _POSIX_PIPE_BUF);
}

TEST(NonBlockingWriter, TreatsAPipeThatCannotBePolledAsFull) {
    const auto ends = pipeEnds();
    const DescriptorLimit none; // reopening and polling both fail
    EXPECT_EQ(fill(NonBlockingWriter(ends.writing.get())), EAGAIN);
}

TEST(NonBlockingWriter, FailsWithoutADescriptor) {
    EXPECT_EQ(NonBlockingWriter(-1).write(text), -1);
    EXPECT_EQ(errno, EBADF);
}

} // namespace
} // namespace kelo
