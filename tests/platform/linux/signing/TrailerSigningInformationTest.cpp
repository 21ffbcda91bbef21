#include "platform/linux/signing/TrailerSigningInformation.h"

#include "tests/conformance/SigningInformationConformance.h"
#include "tests/platform/linux/signing/SigningFixture.h"

namespace kelo {
namespace {

class TrailerSigningInformationTest : public SigningFixture {
protected:
    /// Runs the program and returns the reason why it has no team; empty if it has one.
    std::string reasonOf(const Path& program) const {
        const auto running = startProgram(program, {"team"});
        running->closeInput();
        EXPECT_EQ(running->waitForEnd(60), 0);
        const auto reasons = running->errors();
        return reasons.substr(0, reasons.find('\n'));
    }
    std::string teamReadBy(const Path& program) const { return startProgram(program, {"team"})->readLine(); }

    /// Signs a program, applies `change` to its bytes, and returns `reasonOf` the result.
    std::string reasonAfter(const std::function<void(std::string& bytes)>& change) {
        const auto program = programSignedAs(identity);
        auto bytes = readFile(program);
        change(bytes);
        writeFile(program, bytes);
        return reasonOf(program);
    }
};

TEST_F(TrailerSigningInformationTest, ReadsTheTeam) {
    EXPECT_EQ(teamReadBy(programSignedAs({"any", "O\"dd team"})), "O\"dd team");
    EXPECT_EQ(reasonOf(programSignedAs(identity)), "");
}

TEST_F(TrailerSigningInformationTest, ReportsTheReasonForAMissingTeam) {
    EXPECT_EQ(reasonOf(unsignedProgram()), unsignedReason);
    EXPECT_EQ(reasonOf(programSignedAs({identity.identifier, ""})), "The executable's signature names no team.");
    EXPECT_EQ(reasonAfter([](auto& bytes) { bytes.back() = 'G' ^ 1; }), unsignedReason);
    EXPECT_EQ(reasonAfter([](auto& bytes) { bytes[bytes.size() - 12] = 3; }),
              "The signature has format version 3, but only version 2 is supported.");
    EXPECT_EQ(reasonAfter([](auto& bytes) { bytes[bytes.size() - trailerSize + 1] = '\n'; }), damagedName);
}

TEST_F(TrailerSigningInformationTest, DoesNotVerifyTheSignature) {
    EXPECT_EQ(reasonAfter([](auto& bytes) { bytes[bytes.find("still runs")] = 'S'; }), "") << "altered";
    const auto program = programSignedAs(identity);
    keys.makeAnchor();
    EXPECT_EQ(teamReadBy(program), identity.team) << "signed by a foreign anchor";
}

TEST_F(TrailerSigningInformationTest, ReadsTheRunningFileEvenIfAnotherFileIsAtItsPath) {
    const auto program = programSignedAs(identity);
    const auto running = startProgram(program, {"team"});
    EXPECT_EQ(running->readLine(), identity.team);
    std::filesystem::rename(programSignedAs({identity.identifier, "OTHERTEAM1"}), program);
    running->closeInput();
    EXPECT_EQ(running->readLine(), identity.team);
}

/// Signs a program, which then reads its own team.
class SignedProgramHarness : private SigningInformation {
public:
    SignedProgramHarness() { keys_.makeAnchor(); }

    SigningInformation& signingInformation() { return *this; }

    void sign(const std::optional<std::string>& team) {
        std::filesystem::copy_file(KELO_SIGNED_PEER, program_);
        if (team)
            signExecutable(program_, "app.kelo.helper", keys_.team(*team));
    }

private:
    std::optional<std::string> teamIdentifier() override {
        auto team = ChildProcess(program_, {"team"}, folder_.path(), "team").readLine();
        return team == "(none)" ? std::nullopt : std::optional(std::move(team));
    }

    const TemporaryFolder folder_;
    const std::filesystem::path program_ = folder_ / "program";
    KeyFolder keys_{folder_ / "keys"};
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, SigningInformationConformance, SignedProgramHarness);

} // namespace
} // namespace kelo
