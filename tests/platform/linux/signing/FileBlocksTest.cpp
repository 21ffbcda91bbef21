#include "platform/linux/signing/FileBlocks.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "platform/linux/signing/ContentDigest.h"
#include "platform/posix/FileDescriptor.h"
#include "tests/support/TemporaryFolder.h"

namespace kelo {
namespace {

std::span<const std::uint8_t> bytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

class FileBlocks : public ::testing::Test {
protected:
    FileDescriptor fileOf(std::size_t size) {
        writeFile(folder / "file", std::string(size, 'x'));
        return FileDescriptor(::open((folder / "file").c_str(), O_RDONLY | O_CLOEXEC));
    }

    /// The sizes of the blocks.
    std::vector<std::size_t> blocksOf(const FileDescriptor& file, std::uint64_t length, bool expected) {
        std::vector<std::size_t> sizes;
        EXPECT_EQ(forEachBlock(file.get(), length, [&](auto block) { sizes.push_back(block.size()); }), expected);
        return sizes;
    }

    const TemporaryFolder folder;
};

TEST_F(FileBlocks, NoBlockIsLargerThan16KiB) {
    using Sizes = std::vector<std::size_t>;
    const auto file = fileOf(50'000);
    EXPECT_EQ(blocksOf(file, 0, true), Sizes());
    EXPECT_EQ(blocksOf(file, 1, true), Sizes({1}));
    EXPECT_EQ(blocksOf(file, 16384, true), Sizes({16384}));
    EXPECT_EQ(blocksOf(file, 16385, true), Sizes({16384, 1}));
    EXPECT_EQ(blocksOf(file, 50'000, true), Sizes({16384, 16384, 16384, 848}));
}

TEST_F(FileBlocks, AFileThatEndsBeforeItsLengthIsNotRead) {
    EXPECT_EQ(blocksOf(fileOf(16384), 16385, false).size(), 1U);
    blocksOf(fileOf(3), std::numeric_limits<std::uint64_t>::max(), false);
    std::vector<std::uint8_t> bytes(4);
    EXPECT_FALSE(readExactly(fileOf(3).get(), 0, bytes));
    EXPECT_FALSE(readExactly(fileOf(3).get(), std::numeric_limits<std::uint64_t>::max(), bytes));
    EXPECT_TRUE(readExactly(fileOf(4).get(), 0, bytes));
}

TEST(ContentDigest, IsThatOfThePublishedExamples) {
    EXPECT_EQ(ContentDigest().hex(), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    ContentDigest whole;
    whole.add(bytesOf("abc"));
    EXPECT_EQ(whole.hex(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    ContentDigest inPieces;
    inPieces.add(bytesOf("a"));
    inPieces.add(bytesOf(""));
    inPieces.add(bytesOf("bc"));
    EXPECT_EQ(inPieces.hex(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

} // namespace
} // namespace kelo
