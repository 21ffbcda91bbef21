#pragma once

#include <openssl/rsa.h>

#include "platform/linux/signing/ContentDigest.h"
#include "platform/linux/signing/OpenSSLHandles.h"
#include "platform/linux/signing/SignatureManifest.h"
#include "tests/platform/linux/signing/SigningFixture.h"

namespace kelo {

inline constexpr const char* notIssued = "The signer's certificate was not issued by the trust anchor (";
inline constexpr const char* notForCode = "The signer's certificate was not made for code signing.";
inline constexpr const char* isAuthority = "The signer's certificate is that of an authority.";
inline constexpr const char* notForVouching =
    "An authority above the signer's certificate was not made to vouch for code signing.";
inline constexpr const char* weakChain =
    "The signer's certificate, or one above it, was issued with a digest that is none "
    "of SHA-256, SHA-384 and SHA-512.";
inline constexpr const char* weakDigest = "The signature's digest is none of SHA-256, SHA-384 and SHA-512.";
inline constexpr const char* doesNotVerify = "The signature does not verify.";

/// Makes certificates and messages that are not as an honest signer's are.
class CertificateFixture : public SigningFixture {
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

    /// The verdict on an honest signer's message over another digest.
    SignatureVerdict verdictOnDigest(const EVP_MD* digest, const KeyedCertificate& leaf, unsigned int flags = 0) {
        const auto text = manifestText();
        const BIOHandle input(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
        const CMSHandle cms(CMS_sign(nullptr, nullptr, nullptr, input.get(), CMS_BINARY | CMS_PARTIAL));
        EXPECT_NE(CMS_add1_signer(cms.get(), leaf.certificate.get(), leaf.key.get(), digest, flags), nullptr);
        EXPECT_EQ(CMS_final(cms.get(), input.get(), nullptr, CMS_BINARY), 1);
        return verdictOnMessage(cms.get());
    }

    /// Takes an extension out, puts another in its place if there is a `value`, and lets the anchor sign the result.
    void replaceExtension(const KeyedCertificate& keyed, int kind, const char* value) {
        auto* certificate = keyed.certificate.get();
        if (const int at = X509_get_ext_by_NID(certificate, kind, -1); at >= 0)
            X509_EXTENSION_free(X509_delete_ext(certificate, at));
        if (value != nullptr) {
            auto* extension = X509V3_EXT_conf_nid(nullptr, nullptr, kind, value);
            X509_add_ext(certificate, extension, -1);
            X509_EXTENSION_free(extension);
        }
        ASSERT_GT(X509_sign(certificate, keys.anchor().key.get(), EVP_sha256()), 0);
    }

    KeyedCertificate rsaLeafFor(const std::string& team, unsigned int bits = 2048) {
        auto leaf = leafFor(team);
        leaf.key.reset(EVP_RSA_gen(bits));
        X509_set_pubkey(leaf.certificate.get(), leaf.key.get());
        X509_sign(leaf.certificate.get(), keys.anchor().key.get(), EVP_sha256());
        return leaf;
    }

    KeyFolder makeForeignKeys() {
        KeyFolder foreign(folder / "foreign");
        foreign.makeAnchor();
        return foreign;
    }
};

} // namespace kelo
