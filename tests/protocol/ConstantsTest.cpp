#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "protocol/KeloHelper.h"
#include "protocol/RequestTable.h"
#include "protocol/SigningIdentity.h"
#include "protocol/SigningInformation.h"

namespace kelo {
namespace {

TEST(KeloHelperConstants, AreWhatBothSidesAgreedOn) {
    EXPECT_STREQ(KeloHelper::machServiceName, "app.kelo.helper");
    EXPECT_EQ(KeloHelper::orphanGracePeriod, 8.0);
    EXPECT_EQ(KeloHelper::interfaceVersion, 6);
}

using Types = std::vector<WireType>;

void expectSignature(Request request, const char* selector, const Types& arguments, const Types& reply) {
    const auto& signature = signatureOf(request);
    EXPECT_EQ(signature.request, request);
    EXPECT_EQ(signature.selector, selector);
    EXPECT_EQ(Types(signature.arguments.begin(), signature.arguments.end()), arguments) << selector;
    EXPECT_EQ(Types(signature.reply.begin(), signature.reply.end()), reply) << selector;
    EXPECT_EQ(signatureWith(selector), &signature);
}

TEST(RequestTable, HasTheFiveRequestsWithTheirTypes) {
    EXPECT_EQ(requestTable.size(), 5U);
    expectSignature(Request::fetchSnapshot, "fetchSnapshotWithReply:", {}, {WireType::optionalData});
    expectSignature(Request::hold, "holdWithFraction:handsBackOnLidClose:reply:", {WireType::real, WireType::boolean},
                    {WireType::optionalText});
    expectSignature(Request::handBack, "handBackWithReply:", {}, {WireType::optionalText});
    expectSignature(Request::helperVersion, "helperVersionWithReply:", {}, {WireType::integer});
    expectSignature(Request::standDown, "standDownWithReply:", {}, {});
}

TEST(RequestTable, KnowsNoOtherSelector) {
    for (const auto* selector : {"", "hold", "standDownWithReply", "standDownWithReply::", "dealloc"})
        EXPECT_EQ(signatureWith(selector), nullptr) << selector;
}

TEST(SigningIdentity, HasTheIdentifiersOfAppAndHelper) {
    EXPECT_STREQ(SigningIdentity::appIdentifier, "app.kelo.Kelo");
    EXPECT_STREQ(SigningIdentity::helperIdentifier, "app.kelo.helper");
}

TEST(SigningIdentity, TheRequirementIsExactCharacterForCharacter) {
    EXPECT_EQ(SigningIdentity::requirement("app.kelo.Kelo", "ABCDE12345"),
              R"(anchor apple generic and identifier "app.kelo.Kelo" and certificate leaf[subject.OU] = "ABCDE12345")");
    EXPECT_EQ(SigningIdentity::requirement("a", "b"),
              R"(anchor apple generic and identifier "a" and certificate leaf[subject.OU] = "b")");
}

TEST(SigningIdentity, EmptyArgumentsGiveEmptyQuotedFields) {
    EXPECT_EQ(SigningIdentity::requirement("", ""),
              R"(anchor apple generic and identifier "" and certificate leaf[subject.OU] = "")");
}

TEST(SigningIdentity, NothingIsEscaped) {
    EXPECT_EQ(
        SigningIdentity::requirement(R"(x" or anchor apple)", "a\\b\n"),
        "anchor apple generic and identifier \"x\" or anchor apple\" and certificate leaf[subject.OU] = \"a\\b\n\"");
}

TEST(SigningIdentity, QuotesThatPairUpAreNotEscapedEither) {
    // Good requirements, some of them, and not the ones that were meant: keeping quotes out is the caller's part.
    EXPECT_EQ(SigningIdentity::requirement(R"(a" or identifier "evil)", "T"),
              R"(anchor apple generic and identifier "a" or identifier "evil" and certificate leaf[subject.OU] = "T")");
    EXPECT_EQ(SigningIdentity::requirement("a", R"(T" or identifier "evil)"),
              R"(anchor apple generic and identifier "a" and certificate leaf[subject.OU] = "T" or identifier "evil")");
    EXPECT_EQ(SigningIdentity::requirement("a\"", "\"T"),
              R"(anchor apple generic and identifier "a"" and certificate leaf[subject.OU] = ""T")");
}

class ScriptedSigning : public SigningInformation {
public:
    std::optional<std::string> team;
    int queries = 0;

    std::optional<std::string> teamIdentifier() override {
        ++queries;
        return team;
    }
};

TEST(SigningIdentity, TheTeamIsQueriedAfreshEachTime) {
    ScriptedSigning signing;
    EXPECT_EQ(SigningIdentity::ownTeamID(signing), std::nullopt);
    signing.team = "ABCDE12345";
    EXPECT_EQ(SigningIdentity::ownTeamID(signing), "ABCDE12345");
    EXPECT_EQ(signing.queries, 2);
}

} // namespace
} // namespace kelo
