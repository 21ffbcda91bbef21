#include "platform/posix/OneReply.h"

#include <gmock/gmock.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/posix/RecordedFaults.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class OneReplyTest : public ::testing::Test {
protected:
    OneReplyTest() { takeFaults(); }

    std::function<void(std::string)> make() {
        return OneReply<std::string>::through([this](const std::string& text) { sent.push_back(text); }, "fallback");
    }

    std::vector<std::string> sent;
};

TEST_F(OneReplyTest, SendsTheFirstReply) {
    make()("answer");
    EXPECT_THAT(sent, ElementsAre("answer"));
    EXPECT_THAT(takeFaults(), IsEmpty());
}

TEST_F(OneReplyTest, ReportsAndDropsASecondReplyEvenThroughACopy) {
    const auto reply = make();
    const auto copy = reply; // NOLINT(performance-unnecessary-copy-initialization)
    reply("answer");
    copy("again");
    EXPECT_THAT(sent, ElementsAre("answer"));
    EXPECT_THAT(takeFaults(), ElementsAre("a request: it was replied to twice"));
}

TEST_F(OneReplyTest, ReportsADroppedReplyAndSendsTheFallback) {
    auto reply = make();
    auto copy = reply;
    reply = nullptr;
    EXPECT_THAT(sent, IsEmpty()) << "a copy may still reply";
    copy = nullptr;
    EXPECT_THAT(sent, ElementsAre("fallback"));
    EXPECT_THAT(takeFaults(), ElementsAre("a request: it was dropped without a reply"));
}

TEST_F(OneReplyTest, ReportsAFallbackThatCannotBeSent) {
    OneReply<int>::through([](int) { throw std::runtime_error("the connection is gone"); }, 0);
    EXPECT_THAT(takeFaults(),
                ElementsAre("a request: it was dropped without a reply", "sending a reply: the connection is gone"));
}

TEST_F(OneReplyTest, SendsOnlyOneReplyWhenManyThreadsReply) {
    std::atomic<int> sends = 0;
    {
        const auto reply = OneReply<int>::through([&](int) { ++sends; }, 0);
        std::vector<std::thread> repliers;
        for (int i = 0; i < 8; ++i)
            repliers.emplace_back([reply] { reply(1); });
        for (auto& replier : repliers)
            replier.join();
    }
    EXPECT_EQ(sends, 1);
    EXPECT_THAT(takeFaults(), SizeIs(7));
}

} // namespace
} // namespace kelo
