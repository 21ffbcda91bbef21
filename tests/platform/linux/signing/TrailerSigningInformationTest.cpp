#include "platform/linux/signing/TrailerSigningInformation.h"

#include "tests/platform/linux/signing/SigningFixture.h"
#include "tests/support/process/PipedProcess.h"

namespace kelo {
namespace {

/// What a program finds out about itself.
class SignatureInformationTest : public SigningFixture {
protected:
    Path program() {
        const auto path = folder / "program";
        std::filesystem::copy_file(KELO_SIGNED_PEER, path, std::filesystem::copy_options::overwrite_existing);
        return path;
    }

    Path programSignedAs(const CodeIdentity& as) {
        const auto path = program();
        sign(path, as);
        return path;
    }

    std::string teamToldBy(const Path& path) { return PipedProcess({path, "team", anchorFolder}).readLine(); }

    /// Why the program has no team; none when it has one.
    std::string reasonToldBy(const Path& path) {
        PipedProcess running({path, "team", anchorFolder});
        running.closeInput();
        auto reasons = running.readError();
        return reasons.substr(0, reasons.find('\n'));
    }

    const std::string anchorFolder = keys.anchorFile().parent_path();
};

TEST_F(SignatureInformationTest, ASignedProgramKnowsItsTeam) {
    EXPECT_EQ(teamToldBy(programSignedAs(identity)), identity.team);
    EXPECT_EQ(teamToldBy(programSignedAs({"any", "O\"dd team"})), "O\"dd team");
}

TEST_F(SignatureInformationTest, AnUnsignedProgramHasNoTeam) { EXPECT_EQ(teamToldBy(program()), "(none)"); }

TEST_F(SignatureInformationTest, AnEmptyTeamIsNoTeam) {
    const auto path = programSignedAs({identity.identifier, ""});
    EXPECT_EQ(verdictOn(path).identity, (CodeIdentity{identity.identifier, ""}));
    EXPECT_EQ(teamToldBy(path), "(none)");
}

TEST_F(SignatureInformationTest, AProgramWhoseSignatureDoesNotVerifyHasNoTeam) {
    const auto path = programSignedAs(identity);
    keys.makeAnchor();
    EXPECT_EQ(teamToldBy(path), "(none)");
    std::filesystem::remove(keys.anchorFile());
    EXPECT_EQ(teamToldBy(path), "(none)");
}

TEST_F(SignatureInformationTest, TheTeamIsThatOfTheRunningFileAlsoWhenAnotherStandsInItsPlace) {
    const auto path = programSignedAs(identity);
    PipedProcess running({path, "team", anchorFolder});
    EXPECT_EQ(running.readLine(), identity.team);
    std::filesystem::remove(path);
    programSignedAs({identity.identifier, "OTHERTEAM1"});
    running.closeInput();
    EXPECT_EQ(running.readLine(), identity.team);
}

TEST_F(SignatureInformationTest, AnAnchorThatIsPutThereLaterDoesNotCount) {
    PipedProcess running({programSignedAs(identity), "team", anchorFolder});
    EXPECT_EQ(running.readLine(), identity.team);
    keys.makeAnchor();
    running.closeInput();
    EXPECT_EQ(running.readLine(), identity.team);
}

TEST_F(SignatureInformationTest, AProgramWhoseAnchorOthersCanReplaceHasNoTeam) {
    const auto path = programSignedAs(identity);
    std::filesystem::permissions(anchorFolder, std::filesystem::perms(0777));
    EXPECT_EQ(teamToldBy(path), "(none)");
    EXPECT_EQ(reasonToldBy(path), "The trust anchor's folder can be written to by others.");
}

TEST_F(SignatureInformationTest, WhyThereIsNoTeamIsTold) {
    EXPECT_EQ(reasonToldBy(programSignedAs(identity)), "");
    EXPECT_EQ(reasonToldBy(programSignedAs({identity.identifier, ""})), "The executable is signed by no team.");
    EXPECT_EQ(reasonToldBy(program()), unsignedReason);
}

} // namespace
} // namespace kelo
