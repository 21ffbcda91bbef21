#include "simulator/tools/simsign/Certificates.h"

#include <openssl/ec.h>
#include <openssl/rand.h>

#include <cstdint>

#include "simulator/tools/simsign/SigningFailed.h"

namespace kelo {
namespace {

void require(bool succeeded) {
    if (!succeeded)
        throw SigningFailed("OpenSSL cannot make the certificate.");
}

/// At random, so that two certificates of one issuer are not taken for each other.
void setSerialNumber(X509* certificate) {
    std::uint64_t number = 0;
    require(RAND_bytes(reinterpret_cast<unsigned char*>(&number), sizeof number) == 1 &&
            ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), number) == 1);
}

/// Names the type of the text instead of leaving it to OpenSSL, which would refuse empty and long ones.
void addToName(X509_NAME* name, int part, const std::string& text) {
    require(X509_NAME_add_entry_by_NID(name, part, V_ASN1_UTF8STRING,
                                       reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()), -1, 0) == 1);
}

void setSubject(X509* certificate, const CertificateRequest& request) {
    auto* name = X509_get_subject_name(certificate);
    addToName(name, NID_commonName, request.commonName);
    for (const auto& unit : request.organizationalUnits)
        addToName(name, NID_organizationalUnitName, unit);
}

void addExtension(X509* certificate, X509* issuer, int kind, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    auto* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
    require(extension != nullptr);
    const bool added = X509_add_ext(certificate, extension, -1) == 1;
    X509_EXTENSION_free(extension);
    require(added);
}

void addExtensions(X509* certificate, X509* issuer, const CertificateRequest& request) {
    const auto add = [&](int kind, const char* value) { addExtension(certificate, issuer, kind, value); };
    add(NID_basic_constraints, request.isAuthority ? "critical,CA:TRUE" : "critical,CA:FALSE");
    add(NID_key_usage, request.isAuthority ? "critical,keyCertSign,cRLSign" : "critical,digitalSignature");
    if (!request.isAuthority)
        add(NID_ext_key_usage, request.isForCodeSigning ? "critical,codeSigning" : "critical,serverAuth");
    add(NID_subject_key_identifier, "hash");
    add(NID_authority_key_identifier, "keyid:always");
}

KeyedCertificate issue(const CertificateRequest& request, const KeyedCertificate* issuer) {
    const OpenSSLErrorScope errors;
    KeyedCertificate made{X509Handle(X509_new()), PrivateKeyHandle(EVP_EC_gen("P-256"))};
    auto* certificate = made.certificate.get();
    require(certificate != nullptr && made.key != nullptr);
    auto* issuing = issuer == nullptr ? certificate : issuer->certificate.get();
    require(X509_set_version(certificate, X509_VERSION_3) == 1);
    setSerialNumber(certificate);
    setSubject(certificate, request);
    require(X509_set_issuer_name(certificate, X509_get_subject_name(issuing)) == 1 &&
            X509_gmtime_adj(X509_getm_notBefore(certificate), request.validFrom) != nullptr &&
            X509_gmtime_adj(X509_getm_notAfter(certificate), request.validFrom + request.validFor) != nullptr &&
            X509_set_pubkey(certificate, made.key.get()) == 1);
    addExtensions(certificate, issuing, request);
    require(X509_sign(certificate, issuer == nullptr ? made.key.get() : issuer->key.get(), EVP_sha256()) > 0);
    return made;
}

} // namespace

KeyedCertificate issueCertificate(const CertificateRequest& request, const KeyedCertificate& issuer) {
    return issue(request, &issuer);
}

KeyedCertificate issueSelfSigned(const CertificateRequest& request) { return issue(request, nullptr); }

} // namespace kelo
