#include "platform/posix/GuardedHelper.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <vector>

#include "testing/ReplyProbe.h"
#include "tests/platform/posix/RecordedFaults.h"

namespace kelo {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* brokenText = "The helper could not carry out the request because of an internal error.";

/// A helper that handles each reply as the test specifies.
class Misbehaving : public KeloHelperProtocol {
public:
    enum class Way { answers, answersTwice, forgets, throws, answersAndThrows };
    explicit Misbehaving(Way way) : way_(way) {}

    void perform(requests::AnyCall call) override {
        std::visit(
            requests::Overloaded{
                [this](const requests::Call<requests::FetchSnapshot>& made) { act(made.reply, Data{1}); },
                [this](const requests::Call<requests::Hold>& made) { act(made.reply, "refused"); },
                [this](const requests::Call<requests::HandBack>& made) { act(made.reply, std::nullopt); },
                [this](const requests::Call<requests::HelperVersion>& made) { act(made.reply, 6); },
                [this](const requests::Call<requests::StandDown>& made) { act(made.reply, requests::Nothing{}); },
            },
            call);
    }

private:
    template <typename Reply, typename Answer>
    void act(const Reply& reply, const Answer& answer) const {
        if (way_ == Way::answers || way_ == Way::answersTwice || way_ == Way::answersAndThrows)
            reply(answer);
        if (way_ == Way::answersTwice)
            reply(answer);
        if (way_ == Way::throws || way_ == Way::answersAndThrows)
            throw std::runtime_error("broken");
    }

    const Way way_;
};

/// Collects the replies to the five requests. Each probe fails the test if it does not get exactly one reply.
struct Answers {
    explicit Answers(Misbehaving::Way way) : helper(std::make_shared<Misbehaving>(way)) {
        takeFaults();
        using namespace requests;
        helper.perform(Call{FetchSnapshot{}, snapshot.reply()});
        helper.perform(Call{Hold{0.5, true}, hold.reply()});
        helper.perform(Call{HandBack{}, handBack.reply()});
        helper.perform(Call{HelperVersion{}, version.reply()});
        helper.perform(Call{StandDown{}, standDown.reply()});
    }

    GuardedHelper helper;
    ReplyProbe<std::optional<Data>> snapshot{"fetchSnapshot"};
    ReplyProbe<std::optional<std::string>> hold{"hold"};
    ReplyProbe<std::optional<std::string>> handBack{"handBack"};
    ReplyProbe<std::int64_t> version{"helperVersion"};
    ReplyProbe<requests::Nothing> standDown{"standDown"};
};

void expectAnswersOfTheHelper(const Answers& answers) {
    EXPECT_EQ(answers.snapshot.value(), Data{1});
    EXPECT_EQ(answers.hold.value(), "refused");
    EXPECT_EQ(answers.handBack.value(), std::nullopt);
    EXPECT_EQ(answers.version.value(), 6);
    EXPECT_TRUE(answers.standDown.isAnswered());
}

void expectFallbacks(const Answers& answers) {
    EXPECT_EQ(answers.snapshot.value(), std::nullopt);
    EXPECT_EQ(answers.hold.value(), brokenText);
    EXPECT_EQ(answers.handBack.value(), brokenText);
    EXPECT_EQ(answers.version.value(), 0);
    EXPECT_TRUE(answers.standDown.isAnswered());
}

TEST(GuardedHelper, ForwardsTheHelpersReplies) {
    expectAnswersOfTheHelper(Answers(Misbehaving::Way::answers));
    EXPECT_THAT(takeFaults(), IsEmpty());
}

TEST(GuardedHelper, ForwardsOnlyTheFirstReply) {
    expectAnswersOfTheHelper(Answers(Misbehaving::Way::answersTwice));
    EXPECT_THAT(takeFaults(), SizeIs(5));
}

TEST(GuardedHelper, SendsTheFallbackIfTheHelperDoesNotReply) {
    expectFallbacks(Answers(Misbehaving::Way::forgets));
    EXPECT_THAT(takeFaults(), SizeIs(5));
}

TEST(GuardedHelper, SendsTheFallbackAndReportsTheExceptionIfTheHelperThrows) {
    expectFallbacks(Answers(Misbehaving::Way::throws));
    const auto faults = takeFaults();
    EXPECT_THAT(faults, SizeIs(10)) << "the exception and the missing answer of each request";
    EXPECT_THAT(faults, ::testing::Contains("holdWithFraction:handsBackOnLidClose:reply:: broken"));
}

TEST(GuardedHelper, ForwardsAReplyMadeBeforeAnException) {
    expectAnswersOfTheHelper(Answers(Misbehaving::Way::answersAndThrows));
    EXPECT_THAT(takeFaults(), SizeIs(5));
}

} // namespace
} // namespace kelo
