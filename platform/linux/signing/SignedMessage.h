#pragma once

#include <cstdint>
#include <span>

#include "platform/linux/signing/SignatureManifest.h"

namespace kelo {

class TrustAnchor;

/// Verifies a signed message (CMS SignedData in DER) and returns the manifest in it. Throws `SignatureRefused`.
///
/// Requires one signer, who signed over an accepted digest and whose certificate is in the message, was issued by the
/// anchor, was made for code signing, is not an authority's and has exactly one organizational unit in its subject; and
/// that this unit is the manifest's team. Whether the content is what the manifest says remains to be seen.
SignatureManifest openSignedMessage(std::span<const std::uint8_t> message, const TrustAnchor& anchor);

} // namespace kelo
