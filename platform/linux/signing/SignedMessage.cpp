#include "platform/linux/signing/SignedMessage.h"

#include <string>
#include <utility>
#include <vector>

#include "platform/linux/signing/AcceptedDigest.h"
#include "platform/linux/signing/OpenSSLHandles.h"
#include "platform/linux/signing/SignatureRefused.h"
#include "platform/linux/signing/TrustAnchor.h"

namespace kelo {
namespace {

CMSHandle parseMessage(std::span<const std::uint8_t> message) {
    const auto* position = message.data();
    CMSHandle cms(d2i_CMS_ContentInfo(nullptr, &position, static_cast<long>(message.size())));
    if (!cms || position != message.data() + message.size() ||
        OBJ_obj2nid(CMS_get0_type(cms.get())) != NID_pkcs7_signed)
        throw SignatureRefused("The signature trailer is damaged: it holds no signed message.");
    return cms;
}

CMS_SignerInfo* onlySigner(CMS_ContentInfo* cms) {
    auto* signers = CMS_get0_SignerInfos(cms);
    if (sk_CMS_SignerInfo_num(signers) != 1)
        throw SignatureRefused("The signature does not have exactly one signer.");
    return sk_CMS_SignerInfo_value(signers, 0);
}

/// The digest that OpenSSL verifies with, whatever else the message says of digests.
void requireAcceptedDigest(CMS_SignerInfo* signer) {
    X509_ALGOR* algorithm = nullptr;
    CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &algorithm, nullptr);
    const ASN1_OBJECT* digest = nullptr;
    X509_ALGOR_get0(&digest, nullptr, nullptr, algorithm);
    if (!isAcceptedDigest(OBJ_obj2nid(digest)))
        throw SignatureRefused("The signature's digest is none of SHA-256, SHA-384 and SHA-512.");
}

/// The signer's certificate among `certificates`, fixed as the one that the message is verified with: two certificates
/// can claim the same issuer and serial number, and the one that is trusted must be the one that is used.
X509* chooseCertificate(CMS_SignerInfo* signer, const STACK_OF(X509) * certificates) {
    for (int i = 0; i < sk_X509_num(certificates); ++i) {
        auto* certificate = sk_X509_value(certificates, i);
        if (CMS_SignerInfo_cert_cmp(signer, certificate) == 0) {
            CMS_SignerInfo_set1_signer_cert(signer, certificate);
            return certificate;
        }
    }
    throw SignatureRefused("The signature does not hold its signer's certificate.");
}

/// A key usage that is absent allows everything; an extended key usage must be there, since a certificate for anything
/// else of the same issuer would do otherwise.
void requireMadeForCodeSigning(X509* certificate) {
    const bool hasExtendedUsage = (X509_get_extension_flags(certificate) & EXFLAG_XKUSAGE) != 0;
    if (!hasExtendedUsage || (X509_get_extended_key_usage(certificate) & XKU_CODE_SIGN) == 0 ||
        (X509_get_key_usage(certificate) & KU_DIGITAL_SIGNATURE) == 0)
        throw SignatureRefused("The signer's certificate was not made for code signing.");
}

/// What may issue certificates must not sign code as well: one stolen key would allow both.
void requireNoAuthority(X509* certificate) {
    const auto says = X509_get_extension_flags(certificate);
    const bool mayIssue = (says & EXFLAG_KUSAGE) != 0 && (X509_get_key_usage(certificate) & KU_KEY_CERT_SIGN) != 0;
    if ((says & EXFLAG_CA) != 0 || mayIssue)
        throw SignatureRefused("The signer's certificate is that of an authority.");
}

std::string textOf(const ASN1_STRING* value) {
    unsigned char* bytes = nullptr;
    const auto size = ASN1_STRING_to_UTF8(&bytes, value);
    if (size < 0)
        throw SignatureRefused("The team in the signer's certificate is not text.");
    std::string text(bytes, bytes + size);
    OPENSSL_free(bytes);
    return text;
}

/// The subject's organizational units. A certificate that names two teams names none.
std::string teamOf(const X509* certificate) {
    const auto* subject = X509_get_subject_name(certificate);
    std::vector<int> units;
    for (int at = -1; (at = X509_NAME_get_index_by_NID(subject, NID_organizationalUnitName, at)) >= 0;)
        units.push_back(at);
    if (units.size() != 1)
        throw SignatureRefused("The signer's certificate names " + std::to_string(units.size()) + " teams, not one.");
    return textOf(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, units.front())));
}

/// What was signed. The certificates have been checked before: no key that the anchor does not vouch for is used.
std::string verifiedContent(CMS_ContentInfo* cms) {
    if (CMS_verify(cms, nullptr, nullptr, nullptr, nullptr, CMS_NO_SIGNER_CERT_VERIFY | CMS_BINARY) != 1)
        throw SignatureRefused("The signature does not verify.");
    const auto* content = *CMS_get0_content(cms);
    const auto* bytes = ASN1_STRING_get0_data(content);
    return {bytes, bytes + ASN1_STRING_length(content)};
}

} // namespace

SignatureManifest openSignedMessage(std::span<const std::uint8_t> message, const TrustAnchor& anchor) {
    const OpenSSLErrorScope errors;
    const auto cms = parseMessage(message);
    const X509StackHandle certificates(CMS_get1_certs(cms.get()));
    auto* signer = onlySigner(cms.get());
    requireAcceptedDigest(signer);
    auto* leaf = chooseCertificate(signer, certificates.get());
    anchor.requireIssued(leaf, certificates.get());
    requireMadeForCodeSigning(leaf);
    requireNoAuthority(leaf);
    const auto team = teamOf(leaf);
    auto manifest = SignatureManifest::parse(verifiedContent(cms.get()));
    if (!manifest)
        throw SignatureRefused("The signature speaks of something else than an executable.");
    if (manifest->identity.team != team)
        throw SignatureRefused("The signature's team \"" + manifest->identity.team +
                               "\" is not the one that its certificate names.");
    return std::move(*manifest);
}

} // namespace kelo
