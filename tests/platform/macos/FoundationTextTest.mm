#import <Foundation/Foundation.h>

#include <cstddef>
#undef nil
#define nil NULL // some systems define it this way: our headers must not require nullptr

#include "platform/macos/FoundationText.h"

#include "tests/platform/macos/doubles/FoundationDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"

namespace kelo {
namespace {

using doubles::journal;

class FoundationTextTest : public doubles::OnDoubles {};

TEST_F(FoundationTextTest, ConvertsTextBothWays) {
    for (const std::string text : {"", "a", "Lüfter 🌀", "with \"quotes\" and\nlines"})
        EXPECT_EQ(textFromNSString(makeNSString(text).get()), text);
}

TEST_F(FoundationTextTest, DecodesNonUTF8BytesAsLatin1) {
    EXPECT_EQ(textFromNSString(makeNSString(std::string("L\xFC"
                                                        "fter"))
                                   .get()),
              "Lüfter");
    EXPECT_EQ(textFromNSString(makeNSString(std::optional<std::string>("\x80")).get()), "\xC2\x80");
}

TEST_F(FoundationTextTest, ConvertsNulloptToNilAndBack) {
    EXPECT_EQ(makeNSString(std::optional<std::string>()).get(), nullptr);
    EXPECT_EQ(makeNSData(std::nullopt).get(), nullptr);
    EXPECT_EQ(textFromNSString(nullptr), std::nullopt);
    EXPECT_EQ(dataFromNSData(nullptr), std::nullopt);
}

TEST_F(FoundationTextTest, DistinguishesEmptyFromNil) {
    EXPECT_NE(makeNSString(std::optional<std::string>("")).get(), nullptr);
    EXPECT_NE(makeNSData(Data()).get(), nullptr);
    EXPECT_EQ(dataFromNSData(makeNSData(Data()).get()), Data());
}

TEST_F(FoundationTextTest, ConvertsBytesBothWays) {
    const Data bytes = {0, 1, 0x7F, 0x80, 0xFF, 0};
    EXPECT_EQ(dataFromNSData(makeNSData(bytes).get()), bytes);
}

TEST_F(FoundationTextTest, AStringThatUTF8CannotRepresentBecomesEmpty) {
    const auto text = adopt(doubles::makeStringWithoutUTF8());
    EXPECT_EQ(textFromNSString(text.get()), "");
}

TEST_F(FoundationTextTest, ReleasesAMovedReferenceOnce) {
    auto first = makeNSString(std::string("text"));
    auto second = std::move(first);
    EXPECT_FALSE(first);
    EXPECT_TRUE(second);
    first = std::move(second);
    EXPECT_EQ(journal().live("NSString"), 1);
    first = ObjCReference<NSString*>();
    second = ObjCReference<NSString*>();
    EXPECT_EQ(journal().live("NSString"), 0);
}

TEST_F(FoundationTextTest, KeepsABlocksCapturesUntilItsLastReferenceIsReleased) {
    const auto held = std::make_shared<int>(3);
    int sum = 0;
    {
        const std::shared_ptr<int> captured = held;
        int* const target = &sum;
        const BlockReference<void (^)(int)> block(^(int more) {
          *target += *captured + more;
        });
        const BlockReference<void (^)(int)> copy = block; // NOLINT
        block.get()(1);
        copy.get()(2);
    }
    EXPECT_EQ(sum, 9);
    EXPECT_EQ(held.use_count(), 1);
}

} // namespace
} // namespace kelo
