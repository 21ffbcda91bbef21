#include "platform/linux/socket/Message.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <string>

namespace kelo {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t manyBytes = 50'000; // enough to overflow a stack, were there a call for each

Bytes repeated(const Bytes& pattern) {
    Bytes bytes;
    while (bytes.size() < manyBytes)
        bytes.insert(bytes.end(), pattern.begin(), pattern.end());
    return bytes;
}

/// A map of one member whose value is those bytes.
Bytes asMember(const Bytes& value) {
    Bytes bytes = {0xA1, 0x61, 'a'};
    bytes.insert(bytes.end(), value.begin(), value.end());
    return bytes;
}

bool isMessage(const Bytes& bytes) { return decodeMessage(bytes).has_value(); }

TEST(MessageTest, NestingWithoutEndIsNoMessageWhateverItIsNestedIn) {
    const Bytes patterns[] = {
        {0x7F},                         // a text in pieces
        {0x5F},                         // bytes in pieces
        {0x9F},                         // an array of no definite length
        {0xBF},                         // a map of no definite length
        {0xBF, 0x60},                   // the same under a key
        {0x81},                         // an array of one
        {0xA1},                         // a map of one
        {0xA1, 0x60},                   // the same under a key
        {0xC0},                         // a tag
        {0xD8, 0x18},                   // a tag of two bytes
        {0xC0, 0x81},                   // mixtures
        {0x81, 0xA1, 0x60},             //
        {0x9F, 0x5F, 0xBF, 0x7F, 0xC0}, //
    };
    for (const auto& pattern : patterns) {
        EXPECT_FALSE(isMessage(repeated(pattern))) << int{pattern[0]};
        EXPECT_FALSE(isMessage(asMember(repeated(pattern)))) << int{pattern[0]} << " in a member";
    }
}

TEST(MessageTest, WhatNoEncoderOfOursWritesIsNoMessage) {
    EXPECT_TRUE(isMessage(asMember({0x61, 'b'})));
    EXPECT_FALSE(isMessage(asMember({0x7F, 0x61, 'b', 0xFF}))); // a text of no definite length
    EXPECT_FALSE(isMessage(asMember({0x5F, 0x41, 'b', 0xFF})));
    EXPECT_FALSE(isMessage(asMember({0x9F, 0x00, 0xFF})));
    EXPECT_FALSE(isMessage({0xBF, 0x61, 'a', 0x00, 0xFF}));
    EXPECT_FALSE(isMessage({0xA1, 0x7F, 0x61, 'a', 0xFF, 0x00})); // as a key
    EXPECT_FALSE(isMessage(asMember({0xC0, 0x00})));              // a tag
    EXPECT_FALSE(isMessage(asMember({0xFF})));                    // an end without a beginning
    EXPECT_FALSE(isMessage(asMember({0x1C})));                    // no size has this mark
    EXPECT_FALSE(isMessage({0xA1, 0x00, 0x00}));                  // a number as a key
    EXPECT_FALSE(isMessage({0xA1, 0x41, 'a', 0x00}));             // bytes as a key
}

TEST(MessageTest, EightLevelsAreAMessageAndNineAreNone) {
    Message value = 1;
    for (int level = 1; level < 8; ++level)
        value = level % 2 == 0 ? Message{{"a", value}} : Message::array({value, value});
    const Message eight = {{"a", value}};
    const Message nine = {{"a", eight}};
    EXPECT_EQ(decodeMessage(encodeMessage(eight)), eight);
    EXPECT_FALSE(isMessage(encodeMessage(nine)));
}

TEST(MessageTest, LengthsThatReachBeyondTheEndAreNoMessage) {
    EXPECT_FALSE(isMessage(asMember({0x62, 'b'})));
    EXPECT_FALSE(isMessage(asMember({0x42, 'b'})));
    EXPECT_FALSE(isMessage(asMember({0x82, 0x00})));
    EXPECT_FALSE(isMessage(asMember({0x19, 0x00})));
    EXPECT_FALSE(isMessage({0xA2, 0x61, 'a', 0x00}));
    for (const int head : {0x5B, 0x7B, 0x9B, 0xBB}) {
        const auto type = static_cast<std::uint8_t>(head);
        EXPECT_FALSE(isMessage(asMember({type, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}))) << head;
        EXPECT_FALSE(isMessage(asMember({type, 0x80, 0, 0, 0, 0, 0, 0, 0}))) << head; // twice that is 0
    }
    EXPECT_FALSE(isMessage({}));
}

TEST(MessageTest, ANameMayBeThereOnceInEachMapAndNotTwice) {
    EXPECT_TRUE(isMessage({0xA2, 0x61, 'a', 0xA1, 0x61, 'a', 0x00, 0x61, 'b', 0xA1, 0x61, 'a', 0x00}));
    EXPECT_FALSE(isMessage({0xA2, 0x61, 'a', 0x00, 0x61, 'a', 0x00}));
    EXPECT_FALSE(isMessage({0xA2, 0x61, 'a', 0x00, 0x78, 0x01, 'a', 0x00})); // its length written otherwise
    EXPECT_FALSE(isMessage({0xA2, 0x61, 'a', 0xA1, 0x61, 'b', 0x00, 0x61, 'a', 0x00}));
    EXPECT_FALSE(isMessage(asMember({0x81, 0xA2, 0x60, 0x00, 0x60, 0x00})));
    EXPECT_TRUE(isMessage(asMember({0x82, 0x61, 'a', 0x61, 'a'}))); // an array has no names
}

TEST(MessageTest, EveryKindOfValueArrivesAsItWas) {
    const Message message = {
        {"null", nullptr},
        {"no", false},
        {"yes", true},
        {"numbers", {0, 23, 24, 255, 256, 65'536, 1ULL << 40, std::numeric_limits<std::uint64_t>::max()}},
        {"negative", {-1, -25, -257, -65'537, std::numeric_limits<std::int64_t>::min()}},
        {"reals", {0.5, 0.1, -0.0, 1e300, std::numeric_limits<double>::infinity()}},
        {"text", std::string(70'000, 't')},
        {"bytes", Message::binary(Bytes(300, 0x7F))},
        {"empty", {"", Message::array(), Message::object(), Message::binary({})}},
        {"many", std::vector<int>(1000, 7)},
    };
    EXPECT_EQ(decodeMessage(encodeMessage(message)), message);
    const auto noNumber = decodeMessage(encodeMessage({{"a", std::nan("")}}));
    ASSERT_TRUE(noNumber.has_value());
    EXPECT_TRUE(std::isnan(noNumber->at("a").get<double>()));
}

TEST(MessageTest, OnlyAMapIsAMessage) {
    EXPECT_TRUE(isMessage(encodeMessage(Message::object())));
    EXPECT_FALSE(isMessage(encodeMessage(Message::array())));
    EXPECT_FALSE(isMessage(encodeMessage(1)));
    EXPECT_FALSE(isMessage(encodeMessage("text")));
    EXPECT_FALSE(isMessage({0xA0, 0xA0}));
}

} // namespace
} // namespace kelo
