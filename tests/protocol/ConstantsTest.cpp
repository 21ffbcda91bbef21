#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <variant>

#include "protocol/KeloHelper.h"
#include "protocol/KeloHelperProtocol.h"
#include "protocol/SigningIdentity.h"
#include "testing/ScriptedSigningInformation.h"

namespace kelo {
namespace {

TEST(KeloHelperConstants, HaveTheirAgreedValues) {
    EXPECT_STREQ(KeloHelper::machServiceName, "app.kelo.helper");
    EXPECT_EQ(KeloHelper::orphanGracePeriod, 8.0);
    EXPECT_EQ(KeloHelper::interfaceVersion, 6);
}

template <typename Request, typename Answer, typename... Arguments>
void expectRequest(const char* selector) {
    EXPECT_STREQ(Request::selector, selector);
    EXPECT_TRUE((std::is_same_v<typename Request::Answer, Answer>)) << selector;
    EXPECT_TRUE((std::is_same_v<decltype(Request().arguments()), std::tuple<Arguments...>>)) << selector;
}

TEST(Requests, AreTheFiveProtocolRequestsInOrder) {
    using namespace requests;
    EXPECT_TRUE((std::is_same_v<Any, std::variant<FetchSnapshot, Hold, HandBack, HelperVersion, StandDown>>));
    expectRequest<FetchSnapshot, std::optional<Data>>("fetchSnapshotWithReply:");
    expectRequest<Hold, std::optional<std::string>, double, bool>("holdWithFraction:handsBackOnLidClose:reply:");
    expectRequest<HandBack, std::optional<std::string>>("handBackWithReply:");
    expectRequest<HelperVersion, std::int64_t>("helperVersionWithReply:");
    expectRequest<StandDown, Nothing>("standDownWithReply:");
    EXPECT_EQ((Hold{0.5, true}.arguments()), std::tuple(0.5, true));
}

TEST(SigningIdentity, HasTheIdentifiersOfAppAndHelper) {
    EXPECT_STREQ(SigningIdentity::appIdentifier, "app.kelo.Kelo");
    EXPECT_STREQ(SigningIdentity::helperIdentifier, "app.kelo.helper");
}

TEST(SigningIdentity, InsertsBothNamesIntoTheRequirementUnescaped) {
    const struct {
        const char *identifier, *team, *requirement;
    } cases[] = {
        {"app.kelo.Kelo", "ABCDE12345",
         R"(anchor apple generic and identifier "app.kelo.Kelo" and certificate leaf[subject.OU] = "ABCDE12345")"},
        {"", "", R"(anchor apple generic and identifier "" and certificate leaf[subject.OU] = "")"},
        {R"(x" or anchor apple)", "a\\b\n",
         "anchor apple generic and identifier \"x\" or anchor apple\" and certificate leaf[subject.OU] = \"a\\b\n\""},
        // Paired quotes make a well-formed requirement with a different meaning; callers must exclude them.
        {R"(a" or identifier "evil)", "T",
         R"(anchor apple generic and identifier "a" or identifier "evil" and certificate leaf[subject.OU] = "T")"},
        {"a", R"(T" or identifier "evil)",
         R"(anchor apple generic and identifier "a" and certificate leaf[subject.OU] = "T" or identifier "evil")"},
        {"a\"", "\"T", R"(anchor apple generic and identifier "a"" and certificate leaf[subject.OU] = ""T")"},
    };
    for (const auto& [identifier, team, requirement] : cases)
        EXPECT_EQ(SigningIdentity::requirement(identifier, team), requirement);
}

TEST(SigningIdentity, QueriesTheTeamEachTime) {
    int queries = 0;
    ScriptedSigningInformation signing;
    signing.team.reset();
    signing.onQuery = [&queries] { ++queries; };
    EXPECT_EQ(SigningIdentity::ownTeamID(signing), std::nullopt);
    signing.team = "ABCDE12345";
    EXPECT_EQ(SigningIdentity::ownTeamID(signing), "ABCDE12345");
    EXPECT_EQ(queries, 2);
}

} // namespace
} // namespace kelo
