#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "simulator/tools/simsign/Certificates.h"

namespace kelo {

struct CodeIdentity;

/// Who signs. Borrowed.
struct Signer {
    const KeyedCertificate& leaf;
    std::vector<X509*> authorities; ///< Between the leaf and the anchor, which the verifier has anyway.
};

/// The signed message over `content`: CMS SignedData in DER, holding `content` and the signer's certificates. Throws
/// `SigningFailed`.
std::vector<std::uint8_t> signMessage(const std::string& content, const Signer& signer);

/// Signs the file at `executable`, replacing the signature that it may carry.
///
/// The file is replaced as a whole by one of the same mode and owner, or left as it is: a half-written signature is
/// never visible, and a process that runs it goes on with the old one. A symbolic link is followed; other hard links
/// keep the old file. Names that `SignatureManifest::isValidName` knows are signed as they are, also when no honest
/// signer would use them, and so is a team that is not the certificate's. Throws `SigningFailed`, also when the file
/// ends in a damaged signature.
void signExecutable(const std::filesystem::path& executable, const CodeIdentity& identity, const Signer& signer);

} // namespace kelo
