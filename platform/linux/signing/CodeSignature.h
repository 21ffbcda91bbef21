#pragma once

#include <optional>
#include <string>

#include "platform/linux/signing/CodeIdentity.h"

namespace kelo {

struct TrustAnchor;

/// The result of checking an executable's signature.
struct SignatureVerdict {
    std::optional<CodeIdentity> identity; ///< nullopt when the signature was refused.
    std::string reason;                   ///< Why it was refused, one English sentence; empty when it was not.
};

/// Verifies the signature that the open file `executable` carries against `anchor`.
///
/// An identity means: the holder of a key that the anchor vouches for, under that team, has signed exactly this content
/// under that identifier. The content is read once, in blocks, and only when everything else about the signature is
/// right: only the holder of a team's key can make a verifier read a large file. Does not move the file's offset. Any
/// thread.
SignatureVerdict verifyCodeSignature(int executable, const TrustAnchor& anchor);

} // namespace kelo
