#include "tests/platform/linux/signing/CertificateFixture.h"

namespace kelo {
namespace {

/// What a signer's own certificate has to be.
class SigningCertificate : public CertificateFixture {};

TEST_F(SigningCertificate, AnHonestLeafIsAccepted) {
    EXPECT_EQ(verdictOnSignedBy(leafFor(identity.team)).identity, identity);
    EXPECT_EQ(verdictOnMessage(messageOver(manifestText(), leafFor(identity.team), 0).get()).identity, identity);
}

TEST_F(SigningCertificate, ACertificateForAnythingElseIsRefused) {
    auto request = requestFor({identity.team});
    request.isForCodeSigning = false;
    EXPECT_EQ(verdictOnSignedBy(issueCertificate(request, keys.anchor())).reason, notForCode);
}

TEST_F(SigningCertificate, ACertificateForNothingInParticularIsRefused) {
    const auto leaf = leafFor(identity.team);
    replaceExtension(leaf, NID_ext_key_usage, nullptr);
    EXPECT_EQ(verdictOnSignedBy(leaf).reason, notForCode);
    replaceExtension(leaf, NID_ext_key_usage, "anyExtendedKeyUsage");
    EXPECT_EQ(verdictOnSignedBy(leaf).reason, notForCode);
    replaceExtension(leaf, NID_ext_key_usage, "serverAuth,codeSigning");
    EXPECT_EQ(verdictOnSignedBy(leaf).identity, identity);
}

TEST_F(SigningCertificate, AKeyThatIsNotForSignaturesIsRefused) {
    const auto leaf = leafFor(identity.team);
    replaceExtension(leaf, NID_key_usage, "keyEncipherment");
    EXPECT_EQ(verdictOnSignedBy(leaf).reason, notForCode);
    replaceExtension(leaf, NID_key_usage, nullptr);
    EXPECT_EQ(verdictOnSignedBy(leaf).identity, identity);
}

TEST_F(SigningCertificate, AnAuthorityIsNoSigner) {
    auto request = authorityRequest();
    request.organizationalUnits = {identity.team};
    EXPECT_EQ(verdictOnSignedBy(issueCertificate(request, keys.anchor())).reason, notForCode);
    EXPECT_EQ(verdictOnSignedBy(keys.anchor()).reason, notForCode);
}

TEST_F(SigningCertificate, AnAuthorityIsNoSignerAlsoWhenItIsMadeForCodeSigning) {
    const auto leaf = leafFor(identity.team);
    replaceExtension(leaf, NID_basic_constraints, "critical,CA:TRUE");
    EXPECT_EQ(verdictOnSignedBy(leaf).reason, isAuthority);
    replaceExtension(leaf, NID_key_usage, nullptr);
    EXPECT_EQ(verdictOnSignedBy(leaf).reason, isAuthority);
    replaceExtension(leaf, NID_basic_constraints, nullptr);
    EXPECT_EQ(verdictOnSignedBy(leaf).identity, identity);
    replaceExtension(leaf, NID_key_usage, "digitalSignature,keyCertSign");
    EXPECT_EQ(verdictOnSignedBy(leaf).reason, isAuthority);
}

TEST_F(SigningCertificate, ALeafMustNameExactlyOneTeam) {
    const auto reasonFor = [&](std::vector<std::string> teams) {
        return verdictOnSignedBy(issueCertificate(requestFor(std::move(teams)), keys.anchor())).reason;
    };
    EXPECT_EQ(reasonFor({}), "The signer's certificate names 0 teams, not one.");
    EXPECT_EQ(reasonFor({identity.team, "OTHERTEAM1"}), "The signer's certificate names 2 teams, not one.");
    EXPECT_EQ(reasonFor({"OTHERTEAM1", identity.team}), "The signer's certificate names 2 teams, not one.");
    EXPECT_EQ(reasonFor({identity.team, identity.team}), "The signer's certificate names 2 teams, not one.");
    EXPECT_EQ(reasonFor({identity.team}), "");
}

TEST_F(SigningCertificate, ASignatureCannotClaimAnotherTeamThanItsCertificate) {
    const std::string reason = "The signature's team \"ABCDE12345\" is not the one that its certificate names.";
    EXPECT_EQ(verdictOnSignedBy(leafFor("ABCDE12346")).reason, reason);
    EXPECT_EQ(verdictOnSignedBy(leafFor("abcde12345")).reason, reason);
    EXPECT_EQ(verdictOnSignedBy(leafFor("")).reason, reason);
    EXPECT_EQ(verdictOnSignedBy(leafFor(std::string("ABCDE12345\0", 11))).reason, reason);
}

TEST_F(SigningCertificate, ExpiredAndFutureCertificatesAreAccepted) {
    for (const long validFrom : {-3600L * 24 * 365, 3600L * 24 * 365}) {
        auto request = requestFor({identity.team});
        request.validFrom = validFrom;
        request.validFor = 3600;
        EXPECT_EQ(verdictOnSignedBy(issueCertificate(request, keys.anchor())).identity, identity);
    }
}

} // namespace
} // namespace kelo
