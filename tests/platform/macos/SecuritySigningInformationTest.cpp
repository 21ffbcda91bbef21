#include "platform/macos/SecuritySigningInformation.h"

#include <Security/Security.h>

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

TEST_F(SecuritySigningInformationTest, ReturnsNulloptIfAnyStepFails) {
    ownSignature().selfStatus = errSecCSUnsigned;
    EXPECT_EQ(information.teamIdentifier(), std::nullopt);
    EXPECT_THAT(journal().take(), ElementsAre("SecCodeCopySelf flags 0"));

    ownSignature().selfStatus = errSecSuccess;
    ownSignature().staticCodeStatus = errSecCSStaticCodeNotFound;
    EXPECT_EQ(information.teamIdentifier(), std::nullopt);
    EXPECT_THAT(journal().take(), ElementsAre("SecCodeCopySelf flags 0", "SecCodeCopyStaticCode flags 0"));

    ownSignature().staticCodeStatus = errSecSuccess;
    ownSignature().informationStatus = errSecCSUnsigned;
    EXPECT_EQ(information.teamIdentifier(), std::nullopt);
}

TEST_F(SecuritySigningInformationTest, ReturnsNulloptForSuccessWithoutAnObject) {
    ownSignature().isSelfMissing = true;
    EXPECT_EQ(information.teamIdentifier(), std::nullopt);
    ownSignature().isSelfMissing = false;
    ownSignature().isStaticCodeMissing = true;
    EXPECT_EQ(information.teamIdentifier(), std::nullopt);
    ownSignature().isStaticCodeMissing = false;
    ownSignature().information = [] { return nullptr; };
    EXPECT_EQ(information.teamIdentifier(), std::nullopt);
}

TEST_F(SecuritySigningInformationTest, ReturnsNulloptIfTheInformationIsNotADictionary) {
    ownSignature().information = [] { return doubles::makeCFString("teamid"); };
    EXPECT_EQ(information.teamIdentifier(), std::nullopt);
}

TEST_F(SecuritySigningInformationTest, ReturnsNulloptForUnsignedOrAdHocSignedCode) {
    ownSignature().team = std::nullopt;
    EXPECT_EQ(information.teamIdentifier(), std::nullopt);
}

TEST_F(SecuritySigningInformationTest, ReturnsNulloptIfTheTeamIsNotText) {
    ownSignature().teamValue = [] { return doubles::makeCFNumber(12345); };
    EXPECT_EQ(information.teamIdentifier(), std::nullopt);
}

TEST_F(SecuritySigningInformationTest, ReturnsNulloptIfTheTeamIsNotUTF8) {
    ownSignature().teamValue = [] { return doubles::makeCFStringWithoutUTF8(); };
    EXPECT_EQ(information.teamIdentifier(), std::nullopt);
}

TEST_F(SecuritySigningInformationTest, ReturnsTeamsOfAnyLength) {
    for (const std::string team : {"", "X", "Ünïcödé 🌀", "ABCDE12345ABCDE12345ABCDE12345ABCDE12345"}) {
        ownSignature().team = team;
        EXPECT_EQ(information.teamIdentifier(), team);
    }
}

// --- requirements

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
