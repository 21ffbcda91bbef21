#pragma once

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>

namespace kelo {

template <auto release>
struct OpenSSLRelease {
    template <typename Object>
    void operator()(Object* object) const {
        release(object);
    }
};

inline void releaseCertificates(STACK_OF(X509) * certificates) { sk_X509_pop_free(certificates, X509_free); }

// Each owns one reference, dropped with the function that belongs to the type.
using BIOHandle = std::unique_ptr<BIO, OpenSSLRelease<BIO_free_all>>;
using CMSHandle = std::unique_ptr<CMS_ContentInfo, OpenSSLRelease<CMS_ContentInfo_free>>;
using DigestHandle = std::unique_ptr<EVP_MD_CTX, OpenSSLRelease<EVP_MD_CTX_free>>;
using PrivateKeyHandle = std::unique_ptr<EVP_PKEY, OpenSSLRelease<EVP_PKEY_free>>;
using X509Handle = std::unique_ptr<X509, OpenSSLRelease<X509_free>>;
using X509StackHandle = std::unique_ptr<STACK_OF(X509), OpenSSLRelease<releaseCertificates>>;
using X509StoreHandle = std::unique_ptr<X509_STORE, OpenSSLRelease<X509_STORE_free>>;
using X509StoreContextHandle = std::unique_ptr<X509_STORE_CTX, OpenSSLRelease<X509_STORE_CTX_free>>;

/// Empties the thread's queue of OpenSSL errors after a scope that reports its failures in another way; otherwise a
/// later caller would find stale errors.
class OpenSSLErrorScope {
public:
    OpenSSLErrorScope() = default;
    OpenSSLErrorScope(const OpenSSLErrorScope&) = delete;
    OpenSSLErrorScope& operator=(const OpenSSLErrorScope&) = delete;
    ~OpenSSLErrorScope() { ERR_clear_error(); }
};

} // namespace kelo
