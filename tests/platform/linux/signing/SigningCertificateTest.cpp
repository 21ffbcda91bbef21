#include <openssl/pem.h>
#include <openssl/rsa.h>

#include "platform/linux/signing/ContentDigest.h"
#include "platform/linux/signing/SignatureManifest.h"
#include "tests/platform/linux/signing/SigningFixture.h"

namespace kelo {
namespace {

using ::testing::StartsWith;

constexpr const char* notIssued = "The signer's certificate was not issued by the trust anchor (";
constexpr const char* notForCode = "The signer's certificate was not made for code signing.";
constexpr const char* doesNotVerify = "The signature does not verify.";

/// Who may sign: certificates and messages that are not as an honest signer's are.
class SigningCertificate : public SigningFixture {
protected:
    /// The verdict on a file that `leaf` signed, whose message holds `authorities`, too.
    SignatureVerdict verdictOnSignedBy(const KeyedCertificate& leaf, std::vector<X509*> authorities = {}) {
        const auto file = fileWith("content");
        signExecutable(file, identity, {leaf, std::move(authorities)});
        return verdictOn(file);
    }

    std::string manifestText() const {
        ContentDigest digest;
        const std::string content = "content";
        digest.add({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()});
        return SignatureManifest{identity, content.size(), digest.hex()}.text();
    }

    /// The verdict on a file with a message that a test has made itself.
    SignatureVerdict verdictOnMessage(const std::vector<std::uint8_t>& message) {
        return verdictOn(fileWith("content" + std::string(message.begin(), message.end()) +
                                  footerWith(static_cast<std::uint32_t>(message.size()))));
    }

    SignatureVerdict verdictOnMessage(CMS_ContentInfo* cms) {
        std::vector<std::uint8_t> message(static_cast<std::size_t>(i2d_CMS_ContentInfo(cms, nullptr)));
        auto* position = message.data();
        i2d_CMS_ContentInfo(cms, &position);
        return verdictOnMessage(message);
    }

    /// A message over `content` with OpenSSL's own flags.
    CMSHandle messageOver(const std::string& content, const KeyedCertificate& leaf, unsigned int flags) {
        const BIOHandle input(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
        return CMSHandle(CMS_sign(leaf.certificate.get(), leaf.key.get(), nullptr, input.get(), CMS_BINARY | flags));
    }

    /// Takes an extension out, puts another in its place if there is a `value`, and lets the anchor sign the result.
    void replaceExtension(const KeyedCertificate& leaf, int kind, const char* value) {
        auto* certificate = leaf.certificate.get();
        if (const int at = X509_get_ext_by_NID(certificate, kind, -1); at >= 0)
            X509_EXTENSION_free(X509_delete_ext(certificate, at));
        if (value != nullptr) {
            auto* extension = X509V3_EXT_conf_nid(nullptr, nullptr, kind, value);
            X509_add_ext(certificate, extension, -1);
            X509_EXTENSION_free(extension);
        }
        ASSERT_GT(X509_sign(certificate, keys.anchor().key.get(), EVP_sha256()), 0);
    }

    KeyFolder makeForeignKeys() {
        KeyFolder foreign(folder / "foreign");
        foreign.makeAnchor();
        return foreign;
    }
};

TEST_F(SigningCertificate, AnHonestLeafIsAccepted) {
    EXPECT_EQ(verdictOnSignedBy(leafFor(identity.team)).identity, identity);
    EXPECT_EQ(verdictOnMessage(messageOver(manifestText(), leafFor(identity.team), 0).get()).identity, identity);
}

TEST_F(SigningCertificate, AForeignAnchorIsRefusedAlsoWhenTheMessageHoldsIt) {
    auto foreign = makeForeignKeys();
    const auto anchor = foreign.anchor();
    const auto leaf = foreign.team(identity.team);
    EXPECT_THAT(verdictOnSignedBy(leaf).reason, StartsWith(notIssued));
    EXPECT_THAT(verdictOnSignedBy(leaf, {anchor.certificate.get()}).reason, StartsWith(notIssued));
}

TEST_F(SigningCertificate, AnAnchorMadeAnewDoesNotVouchForTheOldOnesTeams) {
    const auto file = signedFileWith("content");
    keys.makeAnchor();
    EXPECT_THAT(refusalOf(file), StartsWith(notIssued));
}

TEST_F(SigningCertificate, ASelfSignedLeafIsRefused) {
    EXPECT_THAT(verdictOnSignedBy(issueSelfSigned(requestFor({identity.team}))).reason, StartsWith(notIssued));
}

TEST_F(SigningCertificate, AChainThroughAnotherAuthorityIsAcceptedWhenTheMessageHoldsIt) {
    const auto authority = issueCertificate(authorityRequest(), keys.anchor());
    const auto leaf = issueCertificate(requestFor({identity.team}), authority);
    EXPECT_EQ(verdictOnSignedBy(leaf, {authority.certificate.get()}).identity, identity);
    EXPECT_THAT(verdictOnSignedBy(leaf).reason, StartsWith(notIssued));
}

TEST_F(SigningCertificate, AnAnchorThatAnotherHasIssuedVouchesForNobody) {
    const auto file = signedFileWith("content");
    auto anchor = keys.anchor();
    X509_set_issuer_name(anchor.certificate.get(), X509_get_subject_name(leafFor("T").certificate.get()));
    X509_sign(anchor.certificate.get(), leafFor("T").key.get(), EVP_sha256());
    const BIOHandle output(BIO_new_file(keys.anchorFile().c_str(), "w"));
    ASSERT_EQ(PEM_write_bio_X509(output.get(), anchor.certificate.get()), 1);
    ASSERT_EQ(BIO_flush(output.get()), 1);
    EXPECT_THAT(refusalOf(file), StartsWith(notIssued));
}

TEST_F(SigningCertificate, ATeamCannotIssueCertificatesForAnother) {
    const auto team = leafFor("MYOWNTEAM1");
    const auto leaf = issueCertificate(requestFor({identity.team}), team);
    EXPECT_THAT(verdictOnSignedBy(leaf, {team.certificate.get()}).reason, StartsWith(notIssued));
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

TEST_F(SigningCertificate, AWeakKeyOrDigestInTheChainIsRefused) {
    const auto anchor = keys.anchor();
    auto leaf = leafFor(identity.team);
    X509_sign(leaf.certificate.get(), anchor.key.get(), EVP_sha1());
    EXPECT_THAT(verdictOnSignedBy(leaf).reason, StartsWith(notIssued));
    leaf.key.reset(EVP_RSA_gen(1024));
    X509_set_pubkey(leaf.certificate.get(), leaf.key.get());
    X509_sign(leaf.certificate.get(), anchor.key.get(), EVP_sha256());
    EXPECT_THAT(verdictOnSignedBy(leaf).reason, StartsWith(notIssued));
    leaf.key.reset(EVP_RSA_gen(2048));
    X509_set_pubkey(leaf.certificate.get(), leaf.key.get());
    X509_sign(leaf.certificate.get(), anchor.key.get(), EVP_sha256());
    EXPECT_EQ(verdictOnSignedBy(leaf).identity, identity);
}

TEST_F(SigningCertificate, AMessageWithoutItsSignersCertificateIsRefused) {
    const auto cms = messageOver(manifestText(), leafFor(identity.team), CMS_NOCERTS);
    EXPECT_EQ(verdictOnMessage(cms.get()).reason, "The signature does not hold its signer's certificate.");
}

TEST_F(SigningCertificate, AMessageWithTwoSignersIsRefused) {
    const auto first = leafFor(identity.team);
    const auto second = leafFor(identity.team);
    const auto text = manifestText();
    const auto cms = messageOver(text, first, CMS_PARTIAL);
    ASSERT_NE(CMS_add1_signer(cms.get(), second.certificate.get(), second.key.get(), nullptr, CMS_PARTIAL), nullptr);
    const BIOHandle input(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    ASSERT_EQ(CMS_final(cms.get(), input.get(), nullptr, CMS_BINARY), 1);
    EXPECT_EQ(verdictOnMessage(cms.get()).reason, "The signature does not have exactly one signer.");
}

TEST_F(SigningCertificate, AMessageWithoutItsContentIsRefused) {
    const auto cms = messageOver(manifestText(), leafFor(identity.team), CMS_DETACHED);
    EXPECT_EQ(verdictOnMessage(cms.get()).reason, doesNotVerify);
}

TEST_F(SigningCertificate, AMessageOfAnotherKindIsRefused) {
    const auto text = manifestText();
    const BIOHandle input(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    const CMSHandle data(CMS_data_create(input.get(), CMS_BINARY));
    EXPECT_EQ(verdictOnMessage(data.get()).reason, "The signature trailer is damaged: it holds no signed message.");
}

TEST_F(SigningCertificate, ASignatureOverSomethingElseIsRefused) {
    const auto leaf = leafFor(identity.team);
    for (const auto& text : {std::string(), std::string("a letter to somebody"), manifestText() + " "})
        EXPECT_EQ(verdictOnMessage(signMessage(text, {leaf, {}})).reason,
                  "The signature speaks of something else than an executable.");
}

TEST_F(SigningCertificate, ASignatureByAnotherKeyThanTheLeafsIsRefused) {
    const auto signer = leafFor(identity.team);
    const auto cms = messageOver(manifestText(), signer, CMS_NOCERTS);
    const auto other = leafFor(identity.team);
    X509_set_serialNumber(other.certificate.get(), X509_get_serialNumber(signer.certificate.get()));
    X509_sign(other.certificate.get(), keys.anchor().key.get(), EVP_sha256());
    CMS_add1_cert(cms.get(), other.certificate.get());
    EXPECT_EQ(verdictOnMessage(cms.get()).reason, doesNotVerify);
}

TEST_F(SigningCertificate, ACertificateThatPosesAsAnotherOfTheSameNumberIsRefused) {
    const auto honest = leafFor(identity.team);
    auto posing = issueCertificate(requestFor({identity.team}), issueSelfSigned(authorityRequest()));
    X509_set_serialNumber(posing.certificate.get(), X509_get_serialNumber(honest.certificate.get()));
    X509_set_issuer_name(posing.certificate.get(), X509_get_issuer_name(honest.certificate.get()));
    X509_sign(posing.certificate.get(), posing.key.get(), EVP_sha256());
    const auto reason = verdictOnSignedBy(posing, {honest.certificate.get()}).reason;
    // Which of the two comes first in the message depends on their bytes.
    EXPECT_THAT(reason, ::testing::AnyOf(StartsWith(notIssued), doesNotVerify));
}

} // namespace
} // namespace kelo
