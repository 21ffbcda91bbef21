#include "tests/platform/linux/signing/CertificateFixture.h"

namespace kelo {
namespace {

using ::testing::StartsWith;

/// What the message around a manifest has to be.
class SignedMessage : public CertificateFixture {};

TEST_F(SignedMessage, AWeakDigestIsRefused) {
    const auto expectRefused = [&](const KeyedCertificate& leaf, const EVP_MD* digest) {
        EXPECT_EQ(verdictOnDigest(digest, leaf).reason, weakDigest) << EVP_MD_get0_name(digest);
        EXPECT_EQ(verdictOnDigest(digest, leaf, CMS_NOATTR).reason, weakDigest) << EVP_MD_get0_name(digest);
    };
    for (const auto* digest : {EVP_sha1(), EVP_sha224()}) // OpenSSL signs no others with a key on a curve
        expectRefused(leafFor(identity.team), digest);
    for (const auto* digest : {EVP_md5(), EVP_ripemd160(), EVP_sha1(), EVP_sha224(), EVP_sha512_256()})
        expectRefused(rsaLeafFor(identity.team), digest);
}

TEST_F(SignedMessage, AStrongDigestIsAccepted) {
    const auto curve = leafFor(identity.team);
    const auto rsa = rsaLeafFor(identity.team);
    for (const auto* leaf : {&curve, &rsa})
        for (const auto* digest : {EVP_sha256(), EVP_sha384(), EVP_sha512()}) {
            EXPECT_EQ(verdictOnDigest(digest, *leaf).identity, identity) << EVP_MD_get0_name(digest);
            EXPECT_EQ(verdictOnDigest(digest, *leaf, CMS_NOATTR).identity, identity) << EVP_MD_get0_name(digest);
        }
}

TEST_F(SignedMessage, AMessageWithoutItsSignersCertificateIsRefused) {
    const auto cms = messageOver(manifestText(), leafFor(identity.team), CMS_NOCERTS);
    EXPECT_EQ(verdictOnMessage(cms.get()).reason, "The signature does not hold its signer's certificate.");
}

TEST_F(SignedMessage, AMessageWithTwoSignersIsRefused) {
    const auto first = leafFor(identity.team);
    const auto second = leafFor(identity.team);
    const auto text = manifestText();
    const auto cms = messageOver(text, first, CMS_PARTIAL);
    ASSERT_NE(CMS_add1_signer(cms.get(), second.certificate.get(), second.key.get(), nullptr, CMS_PARTIAL), nullptr);
    const BIOHandle input(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    ASSERT_EQ(CMS_final(cms.get(), input.get(), nullptr, CMS_BINARY), 1);
    EXPECT_EQ(verdictOnMessage(cms.get()).reason, "The signature does not have exactly one signer.");
}

TEST_F(SignedMessage, AMessageWithoutItsContentIsRefused) {
    const auto cms = messageOver(manifestText(), leafFor(identity.team), CMS_DETACHED);
    EXPECT_EQ(verdictOnMessage(cms.get()).reason, doesNotVerify);
}

TEST_F(SignedMessage, AMessageOfAnotherKindIsRefused) {
    const auto text = manifestText();
    const BIOHandle input(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    const CMSHandle data(CMS_data_create(input.get(), CMS_BINARY));
    EXPECT_EQ(verdictOnMessage(data.get()).reason, "The signature trailer is damaged: it holds no signed message.");
}

TEST_F(SignedMessage, ASignatureOverSomethingElseIsRefused) {
    const auto leaf = leafFor(identity.team);
    for (const auto& text : {std::string(), std::string("a letter to somebody"), manifestText() + " "})
        EXPECT_EQ(verdictOnMessage(signMessage(text, {leaf, {}})).reason,
                  "The signature speaks of something else than an executable.");
}

TEST_F(SignedMessage, ASignatureByAnotherKeyThanTheLeafsIsRefused) {
    const auto signer = leafFor(identity.team);
    const auto cms = messageOver(manifestText(), signer, CMS_NOCERTS);
    const auto other = leafFor(identity.team);
    X509_set_serialNumber(other.certificate.get(), X509_get_serialNumber(signer.certificate.get()));
    X509_sign(other.certificate.get(), keys.anchor().key.get(), EVP_sha256());
    CMS_add1_cert(cms.get(), other.certificate.get());
    EXPECT_EQ(verdictOnMessage(cms.get()).reason, doesNotVerify);
}

TEST_F(SignedMessage, ACertificateThatPosesAsAnotherOfTheSameNumberIsRefused) {
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
