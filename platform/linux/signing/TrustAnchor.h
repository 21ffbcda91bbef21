#pragma once

#include <filesystem>
#include <string>

#include "platform/linux/signing/OpenSSLHandles.h"

namespace kelo {

/// The one certificate that every trusted chain ends in: on a simulated Mac what the platform vendor's roots are on a
/// real one.
class TrustAnchor {
public:
    /// Reads the first certificate of a PEM file, whoever can write to it. Throws `SignatureRefused`.
    static TrustAnchor load(const std::filesystem::path& file);
    /// As above, from an open file; `name` is for what is thrown.
    static TrustAnchor read(int file, const std::string& name);

    /// Throws `SignatureRefused` unless `leaf` was issued by the anchor, directly or through authorities among
    /// `others`, each of which, as the anchor itself, says that it issues certificates, and either names no purposes or
    /// code signing among them.
    ///
    /// Dates are not checked: on a Mac, too, what was signed stays acceptable when the certificate has expired, and a
    /// helper must not stop serving its app on a certain date. Revoked certificates are not detected.
    void requireIssued(X509* leaf, STACK_OF(X509) * others) const;

private:
    explicit TrustAnchor(X509Handle certificate) : certificate_(std::move(certificate)) {}

    X509Handle certificate_;
};

} // namespace kelo
