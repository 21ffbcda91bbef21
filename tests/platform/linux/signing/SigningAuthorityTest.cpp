#include <openssl/pem.h>

#include "tests/platform/linux/signing/CertificateFixture.h"

namespace kelo {
namespace {

using ::testing::StartsWith;

/// Who may vouch for a signer: the anchor, and what stands between it and the signer's certificate.
class SigningAuthority : public CertificateFixture {
protected:
    void writeAnchor(X509* certificate) {
        const BIOHandle output(BIO_new_file(keys.anchorFile().c_str(), "w"));
        ASSERT_EQ(PEM_write_bio_X509(output.get(), certificate), 1);
        ASSERT_EQ(BIO_flush(output.get()), 1);
    }
};

TEST_F(SigningAuthority, AForeignAnchorIsRefusedAlsoWhenTheMessageHoldsIt) {
    auto foreign = makeForeignKeys();
    const auto anchor = foreign.anchor();
    const auto leaf = foreign.team(identity.team);
    EXPECT_THAT(verdictOnSignedBy(leaf).reason, StartsWith(notIssued));
    EXPECT_THAT(verdictOnSignedBy(leaf, {anchor.certificate.get()}).reason, StartsWith(notIssued));
}

TEST_F(SigningAuthority, AnAnchorMadeAnewDoesNotVouchForTheOldOnesTeams) {
    const auto file = signedFileWith("content");
    keys.makeAnchor();
    EXPECT_THAT(refusalOf(file), StartsWith(notIssued));
}

TEST_F(SigningAuthority, ASelfSignedLeafIsRefused) {
    EXPECT_THAT(verdictOnSignedBy(issueSelfSigned(requestFor({identity.team}))).reason, StartsWith(notIssued));
}

TEST_F(SigningAuthority, AChainThroughAnotherAuthorityIsAcceptedWhenTheMessageHoldsIt) {
    const auto authority = issueCertificate(authorityRequest(), keys.anchor());
    const auto leaf = issueCertificate(requestFor({identity.team}), authority);
    EXPECT_EQ(verdictOnSignedBy(leaf, {authority.certificate.get()}).identity, identity);
    EXPECT_THAT(verdictOnSignedBy(leaf).reason, StartsWith(notIssued));
}

TEST_F(SigningAuthority, AnAnchorThatAnotherHasIssuedVouchesForNobody) {
    const auto file = signedFileWith("content");
    auto anchor = keys.anchor();
    X509_set_issuer_name(anchor.certificate.get(), X509_get_subject_name(leafFor("T").certificate.get()));
    X509_sign(anchor.certificate.get(), leafFor("T").key.get(), EVP_sha256());
    writeAnchor(anchor.certificate.get());
    EXPECT_THAT(refusalOf(file), StartsWith(notIssued));
}

TEST_F(SigningAuthority, ATeamCannotIssueCertificatesForAnother) {
    const auto team = leafFor("MYOWNTEAM1");
    const auto leaf = issueCertificate(requestFor({identity.team}), team);
    EXPECT_THAT(verdictOnSignedBy(leaf, {team.certificate.get()}).reason, StartsWith(notIssued));
}

TEST_F(SigningAuthority, AnAuthorityForAnotherPurposeIsRefused) {
    const auto authority = issueCertificate(authorityRequest(), keys.anchor());
    const auto leaf = issueCertificate(requestFor({identity.team}), authority);
    const auto verdict = [&] { return verdictOnSignedBy(leaf, {authority.certificate.get()}); };
    for (const auto* purpose : {"serverAuth", "emailProtection,timeStamping", "anyExtendedKeyUsage"}) {
        replaceExtension(authority, NID_ext_key_usage, purpose);
        EXPECT_EQ(verdict().reason, notForVouching) << purpose;
    }
    replaceExtension(authority, NID_ext_key_usage, "serverAuth,codeSigning");
    EXPECT_EQ(verdict().identity, identity);
}

TEST_F(SigningAuthority, AnAuthorityMustSayThatItIssuesCertificates) {
    const auto authority = issueCertificate(authorityRequest(), keys.anchor());
    const auto leaf = issueCertificate(requestFor({identity.team}), authority);
    const auto reason = [&] { return verdictOnSignedBy(leaf, {authority.certificate.get()}).reason; };
    ASSERT_EQ(reason(), "");
    replaceExtension(authority, NID_key_usage, nullptr);
    EXPECT_EQ(reason(), notForVouching);
    replaceExtension(authority, NID_key_usage, "digitalSignature");
    EXPECT_THAT(reason(), StartsWith(notIssued));
    replaceExtension(authority, NID_key_usage, "keyCertSign");
    EXPECT_EQ(reason(), "");
    replaceExtension(authority, NID_basic_constraints, nullptr);
    EXPECT_THAT(reason(), StartsWith(notIssued));
    replaceExtension(authority, NID_basic_constraints, "CA:FALSE");
    EXPECT_THAT(reason(), StartsWith(notIssued));
}

TEST_F(SigningAuthority, TheAnchorMustBeAnAuthorityForCodeSigningToo) {
    const auto file = signedFileWith("content");
    const auto reasonWith = [&](int extension, const char* value) {
        const auto anchor = keys.anchor();
        replaceExtension(anchor, extension, value);
        writeAnchor(anchor.certificate.get());
        return refusalOf(file);
    };
    EXPECT_EQ(reasonWith(NID_ext_key_usage, "serverAuth"), notForVouching);
    EXPECT_EQ(reasonWith(NID_key_usage, nullptr), notForVouching);
    EXPECT_EQ(reasonWith(NID_basic_constraints, nullptr), notForVouching);
    EXPECT_EQ(reasonWith(NID_ext_key_usage, "codeSigning"), "");
}

TEST_F(SigningAuthority, AWeakKeyInTheChainIsRefused) {
    EXPECT_THAT(verdictOnSignedBy(rsaLeafFor(identity.team, 1024)).reason, StartsWith(notIssued));
    EXPECT_EQ(verdictOnSignedBy(rsaLeafFor(identity.team)).identity, identity);
}

TEST_F(SigningAuthority, AWeakDigestInTheChainIsRefused) {
    const auto authority = issueCertificate(authorityRequest(), keys.anchor());
    const auto leaf = issueCertificate(requestFor({identity.team}), authority);
    const auto verdictWith = [&](const EVP_MD* ofLeaf, const EVP_MD* ofAuthority) {
        X509_sign(authority.certificate.get(), keys.anchor().key.get(), ofAuthority);
        X509_sign(leaf.certificate.get(), authority.key.get(), ofLeaf);
        return verdictOnSignedBy(leaf, {authority.certificate.get()});
    };
    for (const auto* strong : {EVP_sha256(), EVP_sha384(), EVP_sha512()}) {
        EXPECT_EQ(verdictWith(strong, strong).identity, identity);
        EXPECT_THAT(verdictWith(EVP_sha1(), strong).reason, StartsWith(notIssued));
        EXPECT_THAT(verdictWith(strong, EVP_sha1()).reason, StartsWith(notIssued));
        EXPECT_EQ(verdictWith(EVP_sha224(), strong).reason, weakChain);
        EXPECT_EQ(verdictWith(strong, EVP_sha224()).reason, weakChain);
    }
}

} // namespace
} // namespace kelo
