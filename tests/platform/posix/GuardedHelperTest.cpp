#include "platform/posix/GuardedHelper.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <vector>

#include "tests/platform/posix/RecordedFaults.h"
#include "tests/support/ReplyProbe.h"

namespace kelo {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* brokenText = "The helper could not carry out the request because of an internal error.";

/// Does with each reply what the test says.
class Misbehaving : public KeloHelperProtocol {
public:
    enum class Way { answers, answersTwice, forgets, throws, answersAndThrows };
    explicit Misbehaving(Way way) : way_(way) {}

    void fetchSnapshot(DataReply reply) override { act(reply, Data{1}); }
    void hold(double, bool, ErrorReply reply) override { act(reply, "refused"); }
    void handBack(ErrorReply reply) override { act(reply, std::nullopt); }
    void helperVersion(VersionReply reply) override { act(reply, 6); }
    void standDown(EmptyReply reply) override { act(reply); }

private:
    template <typename Reply, typename... Values>
    void act(const Reply& reply, const Values&... values) const {
        if (way_ == Way::answers || way_ == Way::answersTwice || way_ == Way::answersAndThrows)
            reply(values...);
        if (way_ == Way::answersTwice)
            reply(values...);
        if (way_ == Way::throws || way_ == Way::answersAndThrows)
            throw std::runtime_error("broken");
    }

    const Way way_;
};

/// The answers to the five requests; each probe fails the test when it is not answered exactly once.
struct Answers {
    explicit Answers(Misbehaving::Way way) : helper(std::make_shared<Misbehaving>(way)) {
        takeFaults();
        helper.fetchSnapshot(snapshot.reply());
        helper.hold(0.5, true, hold.reply());
        helper.handBack(handBack.reply());
        helper.helperVersion(version.reply());
        helper.standDown(standDown.reply());
    }

    GuardedHelper helper;
    ReplyProbe<std::optional<Data>> snapshot{"fetchSnapshot"};
    ReplyProbe<std::optional<std::string>> hold{"hold"};
    ReplyProbe<std::optional<std::string>> handBack{"handBack"};
    ReplyProbe<std::int64_t> version{"helperVersion"};
    ReplyProbe<> standDown{"standDown"};
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

TEST(GuardedHelper, PassesTheHelpersAnswersOn) {
    expectAnswersOfTheHelper(Answers(Misbehaving::Way::answers));
    EXPECT_THAT(takeFaults(), IsEmpty());
}

TEST(GuardedHelper, HearsAHelperThatAnswersTwiceOnce) {
    expectAnswersOfTheHelper(Answers(Misbehaving::Way::answersTwice));
    EXPECT_THAT(takeFaults(), SizeIs(5));
}

TEST(GuardedHelper, AnswersForAHelperThatForgets) {
    expectFallbacks(Answers(Misbehaving::Way::forgets));
    EXPECT_THAT(takeFaults(), SizeIs(5));
}

TEST(GuardedHelper, AnswersForAHelperThatThrowsAndReportsWhy) {
    expectFallbacks(Answers(Misbehaving::Way::throws));
    const auto faults = takeFaults();
    EXPECT_THAT(faults, SizeIs(10)) << "what was thrown, and the missing answer";
    EXPECT_THAT(faults, ::testing::Contains("hold: broken"));
}

TEST(GuardedHelper, AHelperThatThrowsAfterItsAnswerHasAnswered) {
    expectAnswersOfTheHelper(Answers(Misbehaving::Way::answersAndThrows));
    EXPECT_THAT(takeFaults(), SizeIs(5));
}

/// Keeps every hold until the test answers it.
class SlowHolds : public Misbehaving {
public:
    SlowHolds() : Misbehaving(Way::answers) {}
    void hold(double, bool, ErrorReply reply) override { kept.push_back(std::move(reply)); }

    std::vector<ErrorReply> kept;
};

class ManyHolds : public ::testing::Test {
protected:
    ManyHolds() { takeFaults(); }

    void hold() {
        helper.hold(0.5, false, [this](const std::optional<std::string>& error) { answers.push_back(error); });
    }

    std::vector<std::optional<std::string>> answers; ///< First: what is kept to the end is answered then.
    const std::shared_ptr<SlowHolds> service = std::make_shared<SlowHolds>();
    GuardedHelper helper{service};
};

TEST_F(ManyHolds, AreRefusedAtOnceBeyondTheFirstFew) {
    for (int i = 0; i < 100; ++i)
        hold();
    EXPECT_THAT(service->kept, SizeIs(4));
    EXPECT_THAT(answers, SizeIs(96));
    EXPECT_EQ(answers.back(), "Too many holds are waiting already; ask again when they have been answered.");
}

TEST_F(ManyHolds, AreTakenAgainAsSoonAsOneIsAnsweredOrForgotten) {
    for (int i = 0; i < 4; ++i)
        hold();
    service->kept.front()(std::nullopt);
    hold();
    EXPECT_THAT(service->kept, SizeIs(5));
    EXPECT_THAT(answers, SizeIs(1));
    service->kept.pop_back();
    EXPECT_EQ(answers.back(), brokenText);
    hold();
    EXPECT_THAT(service->kept, SizeIs(5));
}

TEST_F(ManyHolds, ThatWereRefusedAreNotCountedAmongThoseThatWait) {
    for (int i = 0; i < 10; ++i)
        hold();
    service->kept.front()(std::nullopt);
    hold();
    EXPECT_THAT(service->kept, SizeIs(5));
}

TEST_F(ManyHolds, DoNotKeepOtherRequestsFromBeingMade) {
    for (int i = 0; i < 100; ++i)
        hold();
    ReplyProbe<std::optional<std::string>> handBack("handBack");
    helper.handBack(handBack.reply());
    EXPECT_EQ(handBack.value(), std::nullopt);
}

TEST_F(ManyHolds, AreUnwantedOnceTheConnectionHasEnded) {
    hold();
    EXPECT_TRUE(service->kept.front().isWanted());
    helper.connectionEnded();
    EXPECT_FALSE(service->kept.front().isWanted());
    service->kept.front()(std::nullopt); // and may be answered all the same
    EXPECT_THAT(answers, SizeIs(1));
}

} // namespace
} // namespace kelo
