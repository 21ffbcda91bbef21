#include "platform/linux/signing/TrustAnchor.h"

#include <openssl/pem.h>

#include <new>
#include <string>
#include <utility>

#include "platform/linux/signing/SignatureRefused.h"

namespace kelo {
namespace {

/// The anchor and three authorities between it and the leaf: more than anybody uses, and an end to the search.
constexpr int maxDepth = 4;
/// OpenSSL's name for keys and digests worth 112 bits or more: no SHA-1, no short RSA keys.
constexpr int securityLevel = 2;

void configure(X509_VERIFY_PARAM* parameters) {
    X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_NO_CHECK_TIME);
    X509_VERIFY_PARAM_set_depth(parameters, maxDepth);
    X509_VERIFY_PARAM_set_auth_level(parameters, securityLevel);
}

} // namespace

TrustAnchor TrustAnchor::load(const std::filesystem::path& file) {
    // Before anything else of the library: its configuration file, which the environment names, could load code.
    OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr);
    const OpenSSLErrorScope errors;
    const BIOHandle input(BIO_new_file(file.c_str(), "re")); // "e": not for programs started meanwhile
    if (!input)
        throw SignatureRefused("The trust anchor " + file.string() + " cannot be read.");
    X509Handle certificate(PEM_read_bio_X509(input.get(), nullptr, nullptr, nullptr));
    if (!certificate)
        throw SignatureRefused("The trust anchor " + file.string() + " holds no certificate.");
    return TrustAnchor(std::move(certificate));
}

void TrustAnchor::requireIssued(X509* leaf, STACK_OF(X509) * others) const {
    const OpenSSLErrorScope errors;
    const X509StoreHandle store(X509_STORE_new());
    const X509StoreContextHandle context(X509_STORE_CTX_new());
    if (!store || !context || X509_STORE_add_cert(store.get(), certificate_.get()) != 1 ||
        X509_STORE_CTX_init(context.get(), store.get(), leaf, others) != 1)
        throw std::bad_alloc();
    configure(X509_STORE_CTX_get0_param(context.get()));
    if (X509_verify_cert(context.get()) != 1)
        throw SignatureRefused(std::string("The signer's certificate was not issued by the trust anchor (") +
                               X509_verify_cert_error_string(X509_STORE_CTX_get_error(context.get())) + ").");
}

} // namespace kelo
