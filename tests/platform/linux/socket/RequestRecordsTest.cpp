#include "platform/linux/socket/RequestRecords.h"

#include <gmock/gmock.h>

#include <limits>
#include <random>

namespace kelo {
namespace {

using namespace request_records;
using ::testing::ElementsAreArray;
using ByteVector = std::vector<std::uint8_t>;

ByteVector bytesOf(std::uint64_t number, const requests::Any& request) {
    const auto record = encode(number, request);
    return {record.begin(), record.end()};
}

/// The layouts in docs/protocol.md.
TEST(RequestRecords, RequestsHaveTheDocumentedLayout) {
    EXPECT_THAT(encode(0x0102030405060708, requests::Hold{0.5, true}),
                ElementsAreArray({8, 7, 6, 5, 4, 3, 2, 1, 2, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F}));
    const std::pair<requests::Any, int> others[] = {{requests::FetchSnapshot{}, 1},
                                                    {requests::HandBack{}, 3},
                                                    {requests::HelperVersion{}, 4},
                                                    {requests::StandDown{}, 5}};
    for (const auto& [request, number] : others) {
        ByteVector expected(requestSize);
        expected[0] = 7;
        expected[8] = static_cast<std::uint8_t>(number);
        EXPECT_EQ(bytesOf(7, request), expected) << number;
    }
}

TEST(RequestRecords, RepliesHaveTheDocumentedLayout) {
    EXPECT_THAT(encodeAnswer(1, std::int64_t{-2}),
                ElementsAreArray(
                    {1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_THAT(encodeAnswer(1, std::optional<std::string>("no")),
                ElementsAreArray({1, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, int{'n'}, int{'o'}}));
    EXPECT_THAT(encodeAnswer(1, std::optional<Data>(Data{0xFF})),
                ElementsAreArray({1, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0xFF}));
    const ByteVector none = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(encodeAnswer(1, std::optional<std::string>()), none);
    EXPECT_EQ(encodeAnswer(1, std::optional<Data>()), none);
    EXPECT_EQ(encodeAnswer(1, requests::Nothing{}), none);
}

TEST(RequestRecords, RejectsInvalidRequests) {
    const auto hold = bytesOf(1, requests::Hold{0.5, true});
    const auto with = [&](std::size_t offset, std::uint8_t byte, ByteVector bytes) {
        bytes[offset] = byte;
        return bytes;
    };
    const auto version = bytesOf(1, requests::HelperVersion{});
    const std::pair<const char*, ByteVector> cases[] = {
        {"empty", {}},
        {"short", ByteVector(hold.begin(), hold.end() - 1)},
        {"long", ByteVector(requestSize + 1)},
        {"request 0", with(8, 0, version)},
        {"a request after the last", with(8, std::variant_size_v<requests::Any> + 1, version)},
        {"request 260", with(9, 1, version)},
        {"a flag of 2", with(12, 2, hold)},
        {"a flag of 257", with(13, 1, hold)},
        {"a flag without a hold", with(12, 1, version)},
        {"a fraction without a hold", with(23, 0x3F, version)},
    };
    for (const auto& [name, bytes] : cases)
        EXPECT_FALSE(decode(bytes).has_value()) << name;
    EXPECT_TRUE(decode(hold).has_value());
}

TEST(RequestRecords, EveryRequestHasOnlyOneEncoding) {
    std::mt19937 random(11);
    int read = 0;
    for (int i = 0; i < 50'000; ++i) {
        auto bytes = bytesOf(random(), requests::Hold{0.5, true});
        for (int change = 0; change < 2; ++change)
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random() % 8);
        if (const auto incoming = decode(bytes)) {
            ++read;
            EXPECT_EQ(bytesOf(incoming->number, incoming->request), bytes);
        }
    }
    EXPECT_GT(read, 1000);
}

// --- replies

template <typename Answer>
void expectReadBack(const Answer& answer) {
    Answer arrived{};
    EXPECT_TRUE(decodeAnswer(encodeAnswer(9, answer), 9, arrived));
    EXPECT_EQ(arrived, answer);
    EXPECT_FALSE(decodeAnswer(encodeAnswer(9, answer), 8, arrived)) << "of another request";
}

TEST(RequestRecords, DecodesEachEncodedReply) {
    expectReadBack(requests::Nothing{});
    for (const auto version : {std::int64_t{0}, std::numeric_limits<std::int64_t>::min()})
        expectReadBack(version);
    for (const auto& text : {std::optional<std::string>(), {""}, {"Lüfter"}, {std::string(maximumContent, 't')}})
        expectReadBack(text);
    for (const auto& data : {std::optional<Data>(), {Data()}, {Data{0, 1, 0xFF}}})
        expectReadBack(data);
}

TEST(RequestRecords, TruncatesAStringThatIsTooLong) {
    std::optional<std::string> arrived;
    EXPECT_TRUE(decodeAnswer(encodeAnswer(9, std::optional(std::string(maximumContent + 1, 't'))), 9, arrived));
    EXPECT_EQ(arrived, std::string(maximumContent, 't'));
}

template <typename Answer>
bool isAnswer(const ByteVector& message) {
    Answer answer{};
    return decodeAnswer(message, 9, answer);
}

TEST(RequestRecords, RejectsInvalidReplies) {
    const auto version = encodeAnswer(9, std::int64_t{6});
    EXPECT_FALSE(isAnswer<std::optional<std::string>>(version));
    EXPECT_FALSE(isAnswer<std::optional<Data>>(version));
    EXPECT_FALSE(isAnswer<requests::Nothing>(version));
    EXPECT_FALSE(isAnswer<std::int64_t>(encodeAnswer(9, std::optional<std::string>("12345678"))));
    auto changed = version;
    changed.push_back(0);
    EXPECT_FALSE(isAnswer<std::int64_t>(changed)) << "too long";
    changed = version;
    changed[12] = 1;
    EXPECT_FALSE(isAnswer<std::int64_t>(changed)) << "reserved";
    auto nothing = encodeAnswer(9, requests::Nothing{});
    EXPECT_FALSE(isAnswer<std::int64_t>(nothing));
    nothing.push_back(0);
    EXPECT_FALSE(isAnswer<requests::Nothing>(nothing));
    EXPECT_FALSE(isAnswer<std::optional<std::string>>(nothing));
    EXPECT_FALSE(isAnswer<requests::Nothing>(ByteVector(15)));
    auto huge = encodeAnswer(9, std::optional(std::string(maximumContent, 't')));
    huge.push_back('t');
    EXPECT_FALSE(isAnswer<std::optional<std::string>>(huge));
}

} // namespace
} // namespace kelo
