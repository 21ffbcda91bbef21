#pragma once

#include <optional>
#include <string>

#include "platform/linux/signing/CodeIdentity.h"

namespace kelo {

struct TrustAnchor;

/// The result of checking an executable's signature.
struct SignatureVerdict {
    std::optional<CodeIdentity> identity; ///< nullopt when the signature was refused.
    std::string reason;                   ///< The reason for the refusal, one English sentence; otherwise empty.
};

/// Verifies the signature of the open file `executable` against `anchor`.
///
/// If the verdict has an identity, the holder of a key that the anchor certifies for that team signed exactly this
/// content under that identifier. Reads the content once, in blocks, and only if the rest of the signature is valid, so
/// that only the holder of a team's key can make a verifier read a large file. Does not move the file offset. Any
/// thread.
SignatureVerdict verifyCodeSignature(int executable, const TrustAnchor& anchor);

} // namespace kelo
