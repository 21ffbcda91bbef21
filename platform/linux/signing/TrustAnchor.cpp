#include "platform/linux/signing/TrustAnchor.h"

#include <fcntl.h>
#include <openssl/pem.h>

#include <new>
#include <string>
#include <utility>

#include "platform/linux/signing/AcceptedDigest.h"
#include "platform/linux/signing/SignatureRefused.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {
namespace {

/// The anchor and three authorities between it and the leaf: more than are ever used, and a limit for the search.
constexpr int maxDepth = 4;
/// OpenSSL's name for keys worth 112 bits or more: no short RSA keys.
constexpr int securityLevel = 2;

void configure(X509_VERIFY_PARAM* parameters) {
    X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_NO_CHECK_TIME);
    X509_VERIFY_PARAM_set_depth(parameters, maxDepth);
    X509_VERIFY_PARAM_set_auth_level(parameters, securityLevel);
}

void requireAcceptedDigest(X509* certificate) {
    int digest = NID_undef;
    X509_get_signature_info(certificate, &digest, nullptr, nullptr, nullptr);
    if (!isAcceptedDigest(digest))
        throw SignatureRefused("The signer's certificate, or one above it, was issued with a digest that is none of "
                               "SHA-256, SHA-384 and SHA-512.");
}

/// An authority says that it is one, twice over; and one that is restricted to certain purposes vouches for no other.
void requireMadeToVouchForCodeSigning(X509* authority) {
    const auto says = X509_get_extension_flags(authority);
    const bool isAuthority = (says & EXFLAG_CA) != 0 && (says & EXFLAG_KUSAGE) != 0 &&
                             (X509_get_key_usage(authority) & KU_KEY_CERT_SIGN) != 0;
    const bool isForCode =
        (says & EXFLAG_XKUSAGE) == 0 || (X509_get_extended_key_usage(authority) & XKU_CODE_SIGN) != 0;
    if (!isAuthority || !isForCode)
        throw SignatureRefused("An authority above the signer's certificate was not made to vouch for code signing.");
}

/// `chain` goes from the leaf to the anchor. The anchor's own signature says nothing: it is trusted for being there.
void requireGoodChain(const STACK_OF(X509) * chain) {
    const int anchorAt = sk_X509_num(chain) - 1;
    for (int i = 0; i < anchorAt; ++i)
        requireAcceptedDigest(sk_X509_value(chain, i));
    for (int i = 1; i <= anchorAt; ++i)
        requireMadeToVouchForCodeSigning(sk_X509_value(chain, i));
}

} // namespace

TrustAnchor TrustAnchor::load(const std::filesystem::path& file) {
    const FileDescriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!opened.isValid())
        throw SignatureRefused("The trust anchor " + file.string() + " cannot be read.");
    return read(opened.get(), file.string());
}

TrustAnchor TrustAnchor::read(int file, const std::string& name) {
    // Before anything else of the library: its configuration file, which the environment names, could load code. And
    // nobody asks for the texts of its errors or for its ciphers, which it would otherwise set up a table of.
    OPENSSL_init_crypto(
        OPENSSL_INIT_NO_LOAD_CONFIG | OPENSSL_INIT_NO_LOAD_CRYPTO_STRINGS | OPENSSL_INIT_NO_ADD_ALL_CIPHERS, nullptr);
    const OpenSSLErrorScope errors;
    // Buffered: a line is otherwise read with one system call for each of its characters.
    const BIOHandle input(BIO_new(BIO_f_buffer()));
    BIOHandle bytes(BIO_new_fd(file, BIO_NOCLOSE));
    if (!input || !bytes)
        throw std::bad_alloc();
    BIO_push(input.get(), bytes.release()); // what is buffered goes with its buffer
    X509Handle certificate(PEM_read_bio_X509(input.get(), nullptr, nullptr, nullptr));
    if (!certificate)
        throw SignatureRefused("The trust anchor " + name + " holds no certificate.");
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
    requireGoodChain(X509_STORE_CTX_get0_chain(context.get()));
}

} // namespace kelo
