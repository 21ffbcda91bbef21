#include "platform/posix/OneReply.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/macos/doubles/LogDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"

namespace kelo {
namespace {

using doubles::logEntries;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class OneReplyTest : public doubles::OnDoubles {
protected:
    std::function<void(std::string)> make() {
        return OneReply<std::string>::through([this](const std::string& text) { sent.push_back(text); }, "fallback");
    }

    std::vector<std::string> sent;
};

TEST_F(OneReplyTest, TheFirstReplyIsSent) {
    make()("answer");
    EXPECT_THAT(sent, ElementsAre("answer"));
    EXPECT_THAT(logEntries(), IsEmpty());
}

TEST_F(OneReplyTest, ASecondReplyIsReportedAndDroppedAlsoThroughACopy) {
    const auto reply = make();
    const auto copy = reply; // NOLINT(performance-unnecessary-copy-initialization)
    reply("answer");
    copy("again");
    EXPECT_THAT(sent, ElementsAre("answer"));
    ASSERT_THAT(logEntries(), SizeIs(1));
    EXPECT_EQ(logEntries()[0].text, "a request: it was replied to twice");
}

TEST_F(OneReplyTest, AReplyThatIsLetGoIsReportedAndAnsweredWithTheFallback) {
    auto reply = make();
    auto copy = reply;
    reply = nullptr;
    EXPECT_THAT(sent, IsEmpty()) << "somebody may still reply";
    copy = nullptr;
    EXPECT_THAT(sent, ElementsAre("fallback"));
    ASSERT_THAT(logEntries(), SizeIs(1));
    EXPECT_EQ(logEntries()[0].text, "a request: it was dropped without a reply");
}

TEST_F(OneReplyTest, AFallbackThatCannotBeSentIsReported) {
    OneReply<>::through([] { throw std::runtime_error("the connection is gone"); });
    ASSERT_THAT(logEntries(), SizeIs(2));
    EXPECT_EQ(logEntries()[1].text, "sending a reply: the connection is gone");
}

TEST_F(OneReplyTest, OfRepliesFromManyThreadsOneIsSent) {
    std::atomic<int> sends = 0;
    {
        const auto reply = OneReply<>::through([&] { ++sends; });
        std::vector<std::thread> repliers;
        for (int i = 0; i < 8; ++i)
            repliers.emplace_back([reply] { reply(); });
        for (auto& replier : repliers)
            replier.join();
    }
    EXPECT_EQ(sends, 1);
    EXPECT_THAT(logEntries(), SizeIs(7));
}

} // namespace
} // namespace kelo
