#include "platform/linux/socket/RequestMessages.h"

#include <gmock/gmock.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "platform/linux/socket/Message.h"

namespace kelo {
namespace {

using request_messages::decode;
using request_messages::decodeReply;
using request_messages::encode;
using Bytes = std::vector<std::uint8_t>;

Message hold() {
    return {{"number", 1U},
            {"selector", "holdWithFraction:handsBackOnLidClose:reply:"},
            {"arguments", Message::array({0.5, true})}};
}

bool isRequest(const Message& message) { return decode(encodeMessage(message)).has_value(); }

TEST(RequestMessages, EachRequestOfTheTableIsReadBack) {
    for (const auto& signature : requestTable) {
        auto arguments = Message::array();
        for (const auto type : signature.arguments)
            arguments.push_back(type == WireType::real ? Message(0.25) : Message(true));
        const auto request = decode(encode(7, signature.request, arguments));
        ASSERT_TRUE(request.has_value()) << signature.selector;
        EXPECT_EQ(request->number, 7U);
        EXPECT_EQ(request->signature, &signature);
        EXPECT_EQ(request->arguments, arguments);
    }
}

TEST(RequestMessages, AFractionArrivesAsTheDoubleThatItWas) {
    std::mt19937_64 random(5);
    std::vector<double> fractions = {0.0,
                                     -0.0,
                                     1.0,
                                     0.1,
                                     std::numeric_limits<double>::infinity(),
                                     -std::numeric_limits<double>::infinity(),
                                     std::numeric_limits<double>::denorm_min(),
                                     std::numeric_limits<double>::max()};
    for (int i = 0; i < 1000; ++i)
        fractions.push_back(std::bit_cast<double>(random()));
    for (const double fraction : fractions) {
        const auto request = decode(encode(1, Request::hold, Message::array({fraction, false})));
        ASSERT_TRUE(request.has_value());
        const auto arrived = request->arguments[0].get<double>();
        if (std::isnan(fraction))
            EXPECT_TRUE(std::isnan(arrived));
        else
            EXPECT_EQ(std::bit_cast<std::uint64_t>(arrived), std::bit_cast<std::uint64_t>(fraction)) << fraction;
    }
}

TEST(RequestMessages, AMessageThatIsNoRequestIsNone) {
    EXPECT_TRUE(isRequest(hold()));
    const std::function<void(Message&)> changes[] = {
        [](Message& message) { message["selector"] = "unknownWithReply:"; },
        [](Message& message) { message["selector"] = 1; },
        [](Message& message) { message["selector"] = nullptr; },
        [](Message& message) { message["number"] = -1; },
        [](Message& message) { message["number"] = 1.0; },
        [](Message& message) { message["number"] = "1"; },
        [](Message& message) { message.erase("number"); },
        [](Message& message) { message.erase("selector"); },
        [](Message& message) { message.erase("arguments"); },
        [](Message& message) { message["more"] = 1; },
        [](Message& message) { message["arguments"] = nullptr; },
        [](Message& message) { message["arguments"] = Message::object(); },
        [](Message& message) { message["arguments"] = Message::array(); },
        [](Message& message) { message["arguments"] = Message::array({0.5}); },
        [](Message& message) {
            message["arguments"] = Message::array({0.5, true, true});
        },
        [](Message& message) {
            message["arguments"] = Message::array({true, 0.5});
        },
        [](Message& message) {
            message["arguments"] = Message::array({1, true});
        },
        [](Message& message) {
            message["arguments"] = Message::array({"0.5", true});
        },
        [](Message& message) {
            message["arguments"] = Message::array({0.5, 1});
        },
        [](Message& message) {
            message["arguments"] = Message::array({0.5, nullptr});
        },
        [](Message& message) { message["selector"] = "handBackWithReply:"; },
    };
    for (const auto& change : changes) {
        auto message = hold();
        change(message);
        EXPECT_FALSE(isRequest(message)) << message;
    }
}

TEST(RequestMessages, BytesThatAreNoMessageAreNone) {
    const auto whole = encodeMessage(hold());
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(decode(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)))) << length;
    auto trailing = whole;
    trailing.push_back(0);
    EXPECT_FALSE(decode(trailing));
    EXPECT_FALSE(decode(encodeMessage(Message::array({hold()}))));
    EXPECT_FALSE(decode(encodeMessage("text")));
}

TEST(RequestMessages, ANameThatIsThereTwiceIsNone) {
    auto twice = encodeMessage({{"arguments", Message::array()}, {"number", 1U}, {"selector", "handBackWithReply:"}});
    EXPECT_TRUE(decode(twice));
    const auto again = encodeMessage({{"number", 2U}});
    twice.insert(twice.end(), again.begin() + 1, again.end()); // without the head of its map
    ++twice[0];                                                // which has a member more now
    EXPECT_FALSE(decode(twice));
}

TEST(RequestMessages, DeepNestingIsNone) {
    EXPECT_FALSE(decode(Bytes(4000, 0x81))); // an array in an array in an array ...
    EXPECT_FALSE(decode(Bytes(4000, 0xA1))); // a map with a map as its key ...
    Bytes maps;
    for (int i = 0; i < 1000; ++i)
        maps.insert(maps.end(), {0xA1, 0x60}); // a map in a map under the empty key ...
    EXPECT_FALSE(decode(maps));
}

TEST(RequestMessages, AnnouncedSizesThatAreNotThereAreNone) {
    EXPECT_FALSE(decode(Bytes{0x9B, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})); // an array of 2^64-1
    EXPECT_FALSE(decode(Bytes{0xBB, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})); // a map of 2^40
    EXPECT_FALSE(decode(Bytes{0x5B, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF})); // 4 GiB of bytes
}

TEST(RequestMessages, AnyBytesAreARequestOrNone) {
    std::mt19937 random(11);
    const auto whole = encodeMessage(hold());
    for (int i = 0; i < 50'000; ++i) {
        auto bytes = whole;
        for (int change = 0; change < 2; ++change)
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
        if (const auto request = decode(bytes)) {
            EXPECT_NE(request->signature, nullptr);
            EXPECT_EQ(request->arguments.size(), request->signature->arguments.size());
        }
    }
}

/// Answers every request at once.
class Answers : public KeloHelperProtocol {
public:
    std::optional<Data> snapshot;
    std::optional<std::string> error;
    double fraction = -1;
    bool handsBackOnLidClose = false;

    void fetchSnapshot(DataReply reply) override { reply(snapshot); }
    void hold(double asked, bool handsBack, ErrorReply reply) override {
        fraction = asked;
        handsBackOnLidClose = handsBack;
        reply(error);
    }
    void handBack(ErrorReply reply) override { reply(error); }
    void helperVersion(VersionReply reply) override { reply(6); }
    void standDown(EmptyReply reply) override { reply(); }
};

class RequestReplies : public ::testing::Test {
protected:
    /// Makes the request and reads its reply back.
    Message replyTo(Request request, const Message& arguments = Message::array()) {
        std::vector<Bytes> replies;
        request_messages::perform(*decode(encode(9, request, arguments)), answers,
                                  [&](Bytes reply) { replies.push_back(std::move(reply)); });
        EXPECT_EQ(replies.size(), 1U);
        return decodeReply(replies.at(0), 9, request).value();
    }

    Answers answers;
};

TEST_F(RequestReplies, EachReplyArrivesAsItWas) {
    EXPECT_EQ(replyTo(Request::fetchSnapshot), Message::array({nullptr}));
    answers.snapshot = Data{0, 1, 0xFF};
    EXPECT_EQ(replyTo(Request::fetchSnapshot)[0].get_binary(), Message::binary_t(Bytes{0, 1, 0xFF}));
    EXPECT_EQ(replyTo(Request::hold, Message::array({0.75, true})), Message::array({nullptr}));
    EXPECT_EQ(answers.fraction, 0.75);
    EXPECT_TRUE(answers.handsBackOnLidClose);
    answers.error = "This Mac has no controllable fan.";
    EXPECT_EQ(replyTo(Request::hold, Message::array({0.75, true}))[0], "This Mac has no controllable fan.");
    EXPECT_EQ(replyTo(Request::handBack)[0], "This Mac has no controllable fan.");
    EXPECT_EQ(replyTo(Request::helperVersion)[0], 6);
    EXPECT_EQ(replyTo(Request::standDown), Message::array());
}

TEST_F(RequestReplies, AReplyWithAnotherNumberOrOtherTypesIsNone) {
    const auto reply = encodeMessage({{"number", 9U}, {"values", Message::array({6})}});
    EXPECT_TRUE(decodeReply(reply, 9, Request::helperVersion));
    EXPECT_FALSE(decodeReply(reply, 8, Request::helperVersion));
    EXPECT_FALSE(decodeReply(reply, 9, Request::handBack));
    EXPECT_FALSE(decodeReply(reply, 9, Request::standDown));
    EXPECT_FALSE(decodeReply({}, 9, Request::helperVersion));
}

} // namespace
} // namespace kelo
