#include <fstream>

#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using Bytes = std::vector<std::uint8_t>;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool isAddressSanitized = true;
#elif defined(__has_feature)
constexpr bool isAddressSanitized = __has_feature(address_sanitizer);
#else
constexpr bool isAddressSanitized = false;
#endif

class BadInput : public EndToEnd {
protected:
    BadInput() {
        startEverything();
        holding = connectRawClient();
        EXPECT_EQ(holding->ask(Request::hold, Message::array({0.5, false})), Message::array({nullptr}));
    }
    /// The helper serves the others and the hold goes on.
    void expectThatNothingElseHappened() {
        EXPECT_EQ(holding->ask(Request::helperVersion)[0], 6);
        EXPECT_TRUE(world.isAnyFanManual());
        EXPECT_EQ(world.helper().status(), std::nullopt);
    }
    void expectCutOffFor(const Bytes& input) {
        const auto offender = connectRawClient();
        EXPECT_EQ(offender->ask(Request::helperVersion)[0], 6);
        offender->send(input);
        EXPECT_EQ(offender->perform("receive"), "ended");
        expectThatNothingElseHappened();
    }

    std::size_t helperDescriptors() const {
        const auto descriptors = "/proc/" + std::to_string(world.helper().number()) + "/fd";
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(descriptors), {}));
    }
    /// Kilobytes of memory that the helper occupies.
    long helperMemory() const {
        std::ifstream status("/proc/" + std::to_string(world.helper().number()) + "/status");
        for (std::string line; std::getline(status, line);)
            if (line.starts_with("VmRSS:"))
                return std::stol(line.substr(6));
        return 0;
    }

    std::unique_ptr<RawClient> holding;
};

Message holdMessage(const Message& arguments) {
    return {{"number", 2U}, {"selector", "holdWithFraction:handsBackOnLidClose:reply:"}, {"arguments", arguments}};
}

TEST_F(BadInput, AnEmptyMessageCutsOff) { expectCutOffFor({}); }

TEST_F(BadInput, AnOversizedMessageCutsOff) { expectCutOffFor(Bytes(5000, 0x60)); }

TEST_F(BadInput, ATruncatedMessageCutsOff) {
    auto message = request_messages::encode(2, Request::helperVersion, Message::array());
    message.resize(message.size() / 2);
    expectCutOffFor(message);
}

TEST_F(BadInput, AnUnknownSelectorCutsOff) {
    expectCutOffFor(encodeMessage({{"number", 2U}, {"selector", "rebootWithReply:"}, {"arguments", Message::array()}}));
}

TEST_F(BadInput, WrongArgumentsCutOff) {
    for (const auto& arguments : {Message::array(), Message::array({0.5}), Message::array({true, 0.5}),
                                  Message::array({"0.5", true}), Message::array({0.5, true, nullptr})})
        expectCutOffFor(encodeMessage(holdMessage(arguments)));
}

TEST_F(BadInput, ANumberThatIsUsedTwiceCutsOff) {
    expectCutOffFor(request_messages::encode(1, Request::helperVersion, Message::array()));
}

TEST_F(BadInput, AFloodWithoutReadingRepliesCutsOff) {
    const auto flooder = connectRawClient();
    EXPECT_EQ(flooder->perform("flood"), "cut off");
    expectThatNothingElseHappened();
}

TEST_F(BadInput, AThousandConnectionsLeaveNothingBehind) {
    const auto client = startRawClient();
    EXPECT_EQ(client->perform("churn 50"), "50"); // what the helper needs once is there now
    EXPECT_TRUE(waitUntil([&] { return client->connect() && client->ask(Request::helperVersion)[0] == 6; }, 60));
    client->perform("close");
    const auto descriptors = helperDescriptors();
    const auto memory = helperMemory();
    EXPECT_EQ(client->perform("churn 1000"), "1000");
    EXPECT_TRUE(waitUntil([&] { return helperDescriptors() <= descriptors; }, 60)) << helperDescriptors();
    // The address sanitizer keeps freed memory for a while; there the helper's end tells, which fails for a leak.
    if (!isAddressSanitized) {
        EXPECT_LT(helperMemory(), memory + 8 * 1024);
    }
    expectThatNothingElseHappened();
    world.helper().signal(SIGTERM);
    expectGoodEnd();
}

} // namespace
} // namespace kelo
