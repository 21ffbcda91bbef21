#include "platform/posix/FileDescriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace kelo {
namespace {

bool isOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

TEST(FileDescriptorTest, DestructionClosesTheDescriptor) {
    int number = -1;
    {
        const FileDescriptor owner(open("/dev/null", O_RDONLY));
        number = owner.get();
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(FileDescriptorTest, DestructionWithoutADescriptorKeepsErrno) {
    errno = 0;
    { const FileDescriptor none; }
    EXPECT_EQ(errno, 0);
}

TEST(FileDescriptorTest, ZeroIsAValidDescriptor) {
    const int kept = dup(0);
    { EXPECT_TRUE(FileDescriptor(0).isValid()); }
    EXPECT_FALSE(isOpen(0));
    if (kept >= 0) { // unless it was closed
        dup2(kept, 0);
        close(kept);
    }
}

TEST(FileDescriptorTest, AMoveTransfersOwnershipAndClosesTheOldDescriptor) {
    FileDescriptor first(open("/dev/null", O_RDONLY));
    const int number = first.get();
    FileDescriptor second(std::move(first));
    EXPECT_FALSE(first.isValid()); // NOLINT(bugprone-use-after-move): tested here
    EXPECT_EQ(second.get(), number);
    second = FileDescriptor();
    EXPECT_FALSE(isOpen(number));
}

} // namespace
} // namespace kelo
