#pragma once

#include <string>
#include <vector>

#include "platform/linux/signing/OpenSSLHandles.h"

namespace kelo {

/// A certificate and the private key that belongs to it.
struct KeyedCertificate {
    X509Handle certificate;
    PrivateKeyHandle key;
};

/// What a certificate is to say. The defaults make a good one for signing code; tests ask for others.
struct CertificateRequest {
    std::string commonName;
    std::vector<std::string> organizationalUnits; ///< Of any length and bytes, also empty ones: a good leaf has one.
    bool isAuthority = false;                     ///< May issue certificates.
    bool isForCodeSigning = true;                 ///< Means nothing for an authority.
    long validFrom = -24L * 3600;                 ///< Seconds from now; a day back, for clocks that disagree.
    long validFor = 10L * 365 * 24 * 3600;        ///< Seconds.
};

/// Makes a key on the curve P-256 and a certificate for it. Throws `SigningFailed`.
KeyedCertificate issueCertificate(const CertificateRequest& request, const KeyedCertificate& issuer);

/// As above, issued by itself.
KeyedCertificate issueSelfSigned(const CertificateRequest& request);

} // namespace kelo
