#include "platform/macos/SecuritySigningInformation.h"

#include <Security/Security.h>

#include <functional>
#include <utility>

#include "platform/macos/RequirementSyntax.h"
#include "tests/platform/macos/doubles/CoreFoundationDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"
#include "tests/platform/macos/doubles/SecurityDouble.h"

namespace kelo {
namespace {

using doubles::journal;
using doubles::ownSignature;
using ::testing::ElementsAre;

class SecuritySigningInformationTest : public doubles::OnDoubles {
protected:
    SecuritySigningInformationTest() { ownSignature().team = "ABCDE12345"; }

    SecuritySigningInformation information;
};

TEST_F(SecuritySigningInformationTest, ReadsTheSigningInformationOfOurStaticCode) {
    EXPECT_EQ(information.teamIdentifier(), "ABCDE12345");
    EXPECT_THAT(journal().take(), ElementsAre("SecCodeCopySelf flags 0", "SecCodeCopyStaticCode flags 0",
                                              "SecCodeCopySigningInformation flags 2"));
}

TEST_F(SecuritySigningInformationTest, QueriesTheSystemEachTime) {
    information.teamIdentifier();
    ownSignature().team = "OTHERTEAM1";
    EXPECT_EQ(information.teamIdentifier(), "OTHERTEAM1");
}

TEST_F(SecuritySigningInformationTest, ReturnsNulloptWithoutAUsableTeam) {
    const std::pair<const char*, std::function<void(doubles::OwnSignature&)>> cases[] = {
        {"no code", [](auto& own) { own.selfStatus = errSecCSUnsigned; }},
        {"success without code", [](auto& own) { own.isSelfMissing = true; }},
        {"no static code", [](auto& own) { own.staticCodeStatus = errSecCSStaticCodeNotFound; }},
        {"success without static code", [](auto& own) { own.isStaticCodeMissing = true; }},
        {"no information", [](auto& own) { own.informationStatus = errSecCSUnsigned; }},
        {"success without information", [](auto& own) { own.information = [] { return nullptr; }; }},
        {"not a dictionary", [](auto& own) { own.information = [] { return doubles::makeCFString("teamid"); }; }},
        {"unsigned or signed ad hoc", [](auto& own) { own.team = std::nullopt; }},
        {"a team that is not text", [](auto& own) { own.teamValue = [] { return doubles::makeCFNumber(12345); }; }},
        {"a team that is not UTF-8", [](auto& own) { own.teamValue = doubles::makeCFStringWithoutUTF8; }},
    };
    for (const auto& [name, breakSignature] : cases) {
        ownSignature() = doubles::OwnSignature();
        ownSignature().team = "ABCDE12345";
        breakSignature(ownSignature());
        EXPECT_EQ(information.teamIdentifier(), std::nullopt) << name;
    }
}

TEST_F(SecuritySigningInformationTest, ReturnsTeamsOfAnyLength) {
    for (const std::string team : {"", "X", "Ünïcödé 🌀", "ABCDE12345ABCDE12345ABCDE12345ABCDE12345"}) {
        ownSignature().team = team;
        EXPECT_EQ(information.teamIdentifier(), team);
    }
}

class CodeRequirementTest : public doubles::OnDoubles {};

TEST_F(CodeRequirementTest, AcceptsAWellFormedRequirement) {
    EXPECT_TRUE(isWellFormedRequirement("anchor apple generic"));
    EXPECT_THAT(journal().take(), ElementsAre("SecRequirementCreateWithString anchor apple generic flags 0"));
}

TEST_F(CodeRequirementTest, RejectsAMalformedRequirement) {
    EXPECT_FALSE(isWellFormedRequirement("anchor apple generic and identifier \"a\"\""));
    EXPECT_FALSE(isWellFormedRequirement(""));
}

TEST_F(CodeRequirementTest, RejectsTextThatCannotBeConverted) {
    doubles::failStringCreation(true);
    EXPECT_FALSE(isWellFormedRequirement("anchor apple generic"));
    EXPECT_THAT(journal().take(), ::testing::IsEmpty());
}

} // namespace
} // namespace kelo
